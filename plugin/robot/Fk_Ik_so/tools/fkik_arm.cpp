// fkik's libraries and arms: the library and the URDF reader loaded with dlopen, as a
// host loads them; handles of arms the designed functions cannot describe; the arm command.
#include <dlfcn.h>
#include <unistd.h>

#include "fk_ik_urdf.h"
#include "fkik.h"

namespace fkik {

namespace {

// The directory of this program's executable, with a trailing slash.
std::string programDirectory(const char* argv0) {
  char path[4096];
  const ssize_t n = readlink("/proc/self/exe", path, sizeof(path) - 1);
  const std::string program = n > 0 ? std::string(path, n) : std::string(argv0);
  const size_t slash = program.rfind('/');
  return slash == std::string::npos ? "./" : program.substr(0, slash + 1);
}

// Function `name` of the loaded library `file`, as type F.
template <typename F>
void bind(void* handle, const std::string& file, const char* name, F& function) {
  void* symbol = dlsym(handle, name);
  if (symbol == nullptr) {
    fail(kLibraryFailed, "library '" + file + "' has no function '" + name + "'");
  }
  function = reinterpret_cast<F>(symbol);
}

// Opens a library by its SONAME, in this order: beside the program (the build tree), in
// the library directory of the prefix the program is installed in (bin/../lib, as
// installed), and on the dynamic linker's own path (a system installation, or
// LD_LIBRARY_PATH). The message of a failure names every place tried. Returns the handle
// and, in file, the name it was opened by. Handles are kept until the process ends, as a
// host keeps its libraries loaded.
void* findLibrary(const std::string& directory, const std::string& soname, const char* what,
                  const char* hint, std::string& file) {
  const std::string candidates[] = {directory + soname,
                                    directory + FK_IK_SO_RELATIVE_LIBDIR + "/" + soname, soname};
  std::string tried;
  for (const std::string& candidate : candidates) {
    void* handle = dlopen(candidate.c_str(), RTLD_NOW | RTLD_LOCAL);
    file = candidate;
    if (handle != nullptr) return handle;
    tried += std::string(tried.empty() ? "" : "; ") + dlerror();
  }
  fail(kLibraryFailed, std::string("cannot find ") + what + " " + soname +
                           " beside this program, in " + directory + FK_IK_SO_RELATIVE_LIBDIR +
                           " or on the library path" + hint + " (tried: " + tried + ")");
}

// The URDF reader's function. It is loaded after the library, with the same search: its
// own dependency on the library's SONAME then resolves to the copy already loaded, whose
// functions compute on the handles it creates.
decltype(&::armCreateFromUrdfFile) loadUrdfReader(const std::string& directory) {
  std::string file;
  void* handle = findLibrary(directory, FK_IK_SO_URDF_SONAME, "the URDF reader", "", file);
  decltype(&::armCreateFromUrdfFile) create;
  bind(handle, file, "armCreateFromUrdfFile", create);
  return create;
}

// The arm the options give, as messages name it.
std::string armName(const Arguments& args) {
  if (!args.urdfFile.empty()) return "URDF file '" + args.urdfFile + "'";
  if (!args.dhFile.empty()) return "DH file '" + args.dhFile + "' (standard rows)";
  if (!args.armFile.empty()) return "arm file '" + args.armFile + "' (modified rows)";
  return "the built-in sample arm (modified rows, metres)";
}

// armLayout's family numbers.
const char* familyName(Int32 family) {
  static const char* const kNames[] = {"designed chain", "spherical wrist", "spherical base",
                                       "three parallel", "general"};
  return family >= 0 && family < 5 ? kNames[family] : "unknown";
}

// n values: a json array, or a line of text columns.
void printValues(const double* v, int n, bool json) {
  std::fputs(json ? "[" : " ", stdout);
  for (int k = 0; k < n; ++k) {
    std::printf(json ? "%s%.17g" : "%s%19.12g", k > 0 && json ? ", " : "", v[k]);
  }
  std::fputs(json ? "]" : "\n", stdout);
}

// A 4 x 4 frame, rows first.
void printFrame(const double m[4][4], bool json) {
  if (json) std::printf("[");
  for (int i = 0; i < 4; ++i) {
    if (json && i > 0) std::printf(", ");
    printValues(m[i], 4, json);
  }
  if (json) std::printf("]");
}

}  // namespace

Library openLibrary(const Arguments& args, const char* argv0) {
  Library library;
  library.programDirectory = programDirectory(argv0);
  std::string file = args.libraryFile;
  void* handle = nullptr;
  if (file.empty()) {
    handle = findLibrary(library.programDirectory, FK_IK_SO_SONAME, "the library",
                         "; give it with --lib FILE", file);
  } else {
    handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) fail(kLibraryFailed, std::string("cannot load library: ") + dlerror());
  }
  bind(handle, file, "init", library.init);
  bind(handle, file, "jntPosToTcpPos", library.jntPosToTcpPos);
  bind(handle, file, "tcpPosToJntPos", library.tcpPosToJntPos);
  bind(handle, file, "tcpPosToJntPosInMode", library.tcpPosToJntPosInMode);
  bind(handle, file, "tcpPosToAllJntPos", library.tcpPosToAllJntPos);
  bind(handle, file, "tcpPosToNearestJntPos", library.tcpPosToNearestJntPos);
  bind(handle, file, "checkArmForm", library.checkArmForm);
  bind(handle, file, "armCreateFromRows", library.armCreateFromRows);
  bind(handle, file, "armJntPosToTcpPos", library.armJntPosToTcpPos);
  bind(handle, file, "armTcpPosToAllJntPos", library.armTcpPosToAllJntPos);
  bind(handle, file, "armTcpPosToNearestJntPos", library.armTcpPosToNearestJntPos);
  bind(handle, file, "armLayout", library.armLayout);
  bind(handle, file, "armInverseSolver", library.armInverseSolver);
  bind(handle, file, "armMdh", library.armMdh);
  bind(handle, file, "armDestroy", library.armDestroy);
  return library;
}

FkIkArm* createArm(const Library& library, const Arguments& args, const double rows[6][4]) {
  FkIkArm* arm = nullptr;
  char message[512] = "";
  if (!args.urdfFile.empty()) {
    // Empty link names ask for the reader's defaults.
    const auto create = loadUrdfReader(library.programDirectory);
    if (create(args.urdfFile.c_str(), args.baseLink.c_str(), args.tipLink.c_str(), &arm, message,
               sizeof message) != 0) {
      fail(kBadInput, armName(args) + ": " + message);
    }
    return arm;
  }
  const Int32 convention = args.dhFile.empty() ? FK_IK_MODIFIED_ROWS : FK_IK_STANDARD_ROWS;
  if (library.armCreateFromRows(rows, convention, args.signs, nullptr, nullptr, nullptr, nullptr,
                                &arm, message, sizeof message) != 0) {
    fail(kBadInput, armName(args) + ": " + message);
  }
  return arm;
}

int runArm(const Library& library, const Arguments& args, const double rows[6][4]) {
  FkIkArm* arm = createArm(library, args, rows);
  Int32 family = 0, nearFamily = 0, designed = 0;
  char layout[4096] = "", solver[128] = "";
  double mdh[6][4], signs[6], base[4][4], flange[4][4];
  library.armLayout(arm, &family, &nearFamily, nullptr, nullptr, layout, sizeof layout);
  library.armInverseSolver(arm, solver, sizeof solver);
  library.armMdh(arm, mdh, signs, base, flange, &designed);
  library.armDestroy(arm);
  const Angles angles{args.degrees};
  for (auto& row : mdh) {
    row[1] = angles.out(row[1]);
    row[3] = angles.out(row[3]);
  }

  if (args.format == Format::Json) {
    std::printf("{\"arm\": %s, \"family\": \"%s\", \"nearFamily\": \"%s\", \"layout\": %s, ",
                quoted(armName(args), true).c_str(), familyName(family), familyName(nearFamily),
                quoted(layout, true).c_str());
    std::printf("\"solver\": %s, ", quoted(solver, true).c_str());
    std::printf("\"rows\": [");
    for (int j = 0; j < 6; ++j) {
      if (j > 0) std::printf(", ");
      printValues(mdh[j], 4, true);
    }
    std::printf("], \"signs\": ");
    printValues(signs, 6, true);
    std::printf(", \"base\": ");
    printFrame(base, true);
    std::printf(", \"flange\": ");
    printFrame(flange, true);
    std::printf(", \"designedForm\": %s}\n", designed ? "true" : "false");
    return kDone;
  }

  std::printf("arm: %s\n\nlayout of the axes at zero joint position:\n%s", armName(args).c_str(),
              layout);
  std::printf("inverse: %s\n\n", solver);
  std::printf("equivalent modified rows, a alpha d theta (angles in %s), one per joint:\n",
              angles.unit());
  for (const auto& row : mdh) printValues(row, 4, false);
  std::printf("joint senses:");
  for (const double sign : signs) std::printf(" %+.0f", sign);
  std::printf("\n");
  std::printf("base frame:\n");
  printFrame(base, false);
  std::printf("flange frame:\n");
  printFrame(flange, false);
  if (designed) {
    std::printf(
        "\ndesigned form: yes. Handed to init, or to fkik with --arm, the rows give this\n"
        "arm's flange at joints Q as base * (their pose at joints Si Qi) * flange, with\n"
        "the senses Si, base and flange frames above.\n");
  } else {
    std::printf(
        "\ndesigned form: no. The rows are not of the form the designed solver is exact for:\n"
        "fkik ik answers for the arm through its handle, by the solver named above (exit\n"
        "status 21 for a degenerate arm, whose coincident axes leave it no inverse).\n");
  }
  return kDone;
}

}  // namespace fkik
