// fkik: command-line host of libFk_Ik_so. It loads the library with dlopen and calls
// its three C functions, as a host process does: forward kinematics (fk), inverse
// kinematics (ik), and a demo of both on a built-in sample arm.
#include <dlfcn.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "fk_ik_so.h"

namespace {

const char* const kUsage =
    "usage: fkik [options] fk Q1 Q2 Q3 Q4 Q5 Q6 [--tool X Y Z RX RY RZ]\n"
    "       fkik [options] ik X Y Z ROLL PITCH YAW --ref Q1 ... Q6 [--tool X Y Z RX RY RZ]\n"
    "       fkik [options] demo [--tool X Y Z RX RY RZ]\n"
    "\n"
    "fk prints the pose of the tool centre point (x y z roll pitch yaw) at the joint\n"
    "positions; ik prints the result code and the joint positions that reach the pose in\n"
    "the configuration and turns of the reference --ref; demo runs forward and back over\n"
    "a few joint positions and times both directions.\n"
    "\n"
    "options:\n"
    "  --arm FILE  the arm's modified DH parameters: six lines, joint 1 first, of\n"
    "              a alpha d theta (lengths in any unit, angles in radians; '#' starts a\n"
    "              comment); default: the built-in sample arm, in metres\n"
    "  --lib FILE  the library to load; default: " FK_IK_SO_SONAME
    " beside this program,\n"
    "              else in " FK_IK_SO_RELATIVE_LIBDIR
    " from it, else on the library path\n"
    "  --deg       angles on the command line and in the output in degrees (default\n"
    "              radians); the arm file stays in radians\n"
    "  --tool ...  the tool centre point relative to the flange (default all zero)\n"
    "\n"
    "exit status: 0 done; 1 the library cannot be used; 2 bad input; 3 ik found no\n"
    "solution\n";

enum ExitStatus { kDone = 0, kLibraryFailed = 1, kBadInput = 2, kNoSolution = 3 };

// The built-in sample arm: a, alpha, d, theta per joint, in metres and radians.
const double kSampleArm[6][4] = {{0, 0, 0.1625, 0},        {0, -M_PI / 2, 0, 0},
                                 {0.425, 0, 0, 0},         {0.3922, M_PI, 0.1333, 0},
                                 {0, M_PI / 2, 0.0997, 0}, {0, M_PI / 2, 0.0996, 0}};

[[noreturn]] void fail(ExitStatus status, const std::string& message) {
  std::fprintf(stderr, "fkik: %s\n", message.c_str());
  std::exit(status);
}

// The whole of text as a finite number, or a bad-input failure naming what it was for.
double parseNumber(const std::string& text, const std::string& what) {
  const char* begin = text.c_str();
  char* end = nullptr;
  errno = 0;
  const double value = std::strtod(begin, &end);
  if (end == begin || *end != '\0')
    fail(kBadInput, "'" + text + "' is not a number (" + what + ")");
  // strtod reports ERANGE for subnormal results too; only an overflow is refused.
  if ((errno == ERANGE && std::fabs(value) == HUGE_VAL) || !std::isfinite(value)) {
    fail(kBadInput, "'" + text + "' is not a finite number (" + what + ")");
  }
  return value;
}

// The command line, every angle converted to radians.
struct Arguments {
  std::string command;
  std::vector<std::string> values;         // the numbers after the command, as typed
  double numbers[6] = {0, 0, 0, 0, 0, 0};  // the same, read: joints (fk) or pose (ik)
  double tool[6] = {0, 0, 0, 0, 0, 0};
  bool hasRef = false;
  double ref[6] = {0, 0, 0, 0, 0, 0};
  std::string armFile;
  std::string libraryFile;
  bool degrees = false;
};

// Reads the six numbers that follow option argv[i] into out and moves i past them.
void takeSix(int argc, char** argv, int& i, const char* const names[6], double out[6]) {
  const std::string option = argv[i];
  int count = 0;
  while (count < 6 && i + 1 + count < argc && std::strncmp(argv[i + 1 + count], "--", 2) != 0) {
    ++count;
  }
  if (count < 6) {
    fail(kBadInput, option + " takes 6 numbers, got " + std::to_string(count));
  }
  for (int k = 0; k < 6; ++k) out[k] = parseNumber(argv[i + 1 + k], option + " " + names[k]);
  i += 6;
}

// The file name that follows option argv[i]; moves i past it.
std::string takeFile(int argc, char** argv, int& i) {
  if (i + 1 >= argc) fail(kBadInput, std::string(argv[i]) + " needs a file name");
  return argv[++i];
}

const char* const kJointNames[6] = {"Q1", "Q2", "Q3", "Q4", "Q5", "Q6"};
const char* const kPoseNames[6] = {"X", "Y", "Z", "ROLL", "PITCH", "YAW"};
const char* const kToolNames[6] = {"X", "Y", "Z", "RX", "RY", "RZ"};

Arguments parseArguments(int argc, char** argv) {
  Arguments args;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--help" || arg == "-h") {
      std::fputs(kUsage, stdout);
      std::exit(kDone);
    } else if (arg == "--deg") {
      args.degrees = true;
    } else if (arg == "--arm") {
      args.armFile = takeFile(argc, argv, i);
    } else if (arg == "--lib") {
      args.libraryFile = takeFile(argc, argv, i);
    } else if (arg == "--tool") {
      takeSix(argc, argv, i, kToolNames, args.tool);
    } else if (arg == "--ref") {
      takeSix(argc, argv, i, kJointNames, args.ref);
      args.hasRef = true;
    } else if (arg.compare(0, 2, "--") == 0) {
      fail(kBadInput, "unknown option '" + arg + "' (see fkik --help)");
    } else if (args.command.empty()) {
      if (arg != "fk" && arg != "ik" && arg != "demo") {
        fail(kBadInput, "unknown command '" + arg + "' (expected fk, ik or demo)");
      }
      args.command = arg;
    } else {
      args.values.push_back(arg);
    }
  }
  if (args.command.empty()) fail(kBadInput, "no command given (expected fk, ik or demo)");
  const size_t expected = args.command == "demo" ? 0 : 6;
  if (args.values.size() != expected) {
    const char* what = args.command == "fk"   ? " joint positions"
                       : args.command == "ik" ? " pose values (X Y Z ROLL PITCH YAW)"
                                              : " numbers";
    fail(kBadInput, args.command + " takes " + std::to_string(expected) + what + ", got " +
                        std::to_string(args.values.size()));
  }
  if (args.command == "ik" && !args.hasRef) fail(kBadInput, "ik needs --ref Q1 ... Q6");
  if (args.command != "ik" && args.hasRef) fail(kBadInput, "--ref belongs to ik only");
  const bool isPose = args.command == "ik";
  for (size_t k = 0; k < args.values.size(); ++k) {
    args.numbers[k] = parseNumber(args.values[k], (isPose ? kPoseNames : kJointNames)[k]);
  }
  // The library works in radians.
  if (args.degrees) {
    for (int k = isPose ? 3 : 0; k < 6; ++k) args.numbers[k] *= M_PI / 180.0;
    for (int k = 3; k < 6; ++k) args.tool[k] *= M_PI / 180.0;
    for (double& q : args.ref) q *= M_PI / 180.0;
  }
  return args;
}

// The arm of a file: six rows of a, alpha, d, theta, '#' comments and blank lines
// skipped, commas taken as spaces.
void readArm(const std::string& file, double arm[6][4]) {
  std::FILE* in = std::fopen(file.c_str(), "r");
  if (in == nullptr)
    fail(kBadInput, "cannot read arm file '" + file + "': " + std::strerror(errno));
  const std::string where = "arm file '" + file + "'";
  int rows = 0, lineNumber = 0;
  char* line = nullptr;
  size_t capacity = 0;
  while (getline(&line, &capacity, in) != -1) {
    ++lineNumber;
    std::string text(line);
    text = text.substr(0, text.find('#'));
    for (char& c : text) {
      if (c == ',') c = ' ';
    }
    std::vector<std::string> words;
    for (size_t start = text.find_first_not_of(" \t\r\n"); start != std::string::npos;) {
      const size_t end = text.find_first_of(" \t\r\n", start);
      words.push_back(text.substr(start, end - start));
      start = text.find_first_not_of(" \t\r\n", end);
    }
    if (words.empty()) continue;
    const std::string at = where + " line " + std::to_string(lineNumber);
    if (rows == 6) fail(kBadInput, at + ": more than 6 joint rows");
    if (words.size() != 4) {
      fail(kBadInput,
           at + ": expected 4 values (a alpha d theta), got " + std::to_string(words.size()));
    }
    for (int k = 0; k < 4; ++k) arm[rows][k] = parseNumber(words[k], at);
    ++rows;
  }
  const bool readError = std::ferror(in) != 0;
  const int readErrno = errno;
  std::free(line);
  std::fclose(in);
  if (readError)
    fail(kBadInput, "cannot read arm file '" + file + "': " + std::strerror(readErrno));
  if (rows < 6) {
    fail(kBadInput, where + " has " + std::to_string(rows) + " joint rows, expected 6");
  }
}

// The library's three functions, found with dlsym.
struct Library {
  decltype(&::init) init;
  decltype(&::jntPosToTcpPos) jntPosToTcpPos;
  decltype(&::tcpPosToJntPos) tcpPosToJntPos;
};

// The directory of this program's executable, with a trailing slash.
std::string programDirectory(const char* argv0) {
  char path[4096];
  const ssize_t n = readlink("/proc/self/exe", path, sizeof(path) - 1);
  const std::string program = n > 0 ? std::string(path, n) : std::string(argv0);
  const size_t slash = program.rfind('/');
  return slash == std::string::npos ? "./" : program.substr(0, slash + 1);
}

// The library's functions from the loaded handle of `file`, which is kept until the
// process ends, as a host keeps the library loaded.
Library bindLibrary(void* handle, const std::string& file) {
  auto find = [&](const char* name) {
    void* symbol = dlsym(handle, name);
    if (symbol == nullptr) {
      fail(kLibraryFailed, "library '" + file + "' has no function '" + name + "'");
    }
    return symbol;
  };
  Library library;
  library.init = reinterpret_cast<decltype(library.init)>(find("init"));
  library.jntPosToTcpPos =
      reinterpret_cast<decltype(library.jntPosToTcpPos)>(find("jntPosToTcpPos"));
  library.tcpPosToJntPos =
      reinterpret_cast<decltype(library.tcpPosToJntPos)>(find("tcpPosToJntPos"));
  return library;
}

// The file given with --lib, and nothing else.
Library loadLibrary(const std::string& file) {
  void* handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) fail(kLibraryFailed, std::string("cannot load library: ") + dlerror());
  return bindLibrary(handle, file);
}

// Without --lib the library is looked for by its SONAME, in this order: beside the
// program (the build tree), in the library directory of the prefix the program is
// installed in (bin/../lib, as installed), and on the dynamic linker's own path (a system
// installation, or LD_LIBRARY_PATH). The message of a failure names every place tried.
Library findLibrary(const std::string& programDirectory) {
  const std::string soname = FK_IK_SO_SONAME;
  const std::string candidates[] = {programDirectory + soname,
                                    programDirectory + FK_IK_SO_RELATIVE_LIBDIR + "/" + soname,
                                    soname};
  std::string tried;
  for (const std::string& file : candidates) {
    void* handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle != nullptr) return bindLibrary(handle, file);
    tried += std::string(tried.empty() ? "" : "; ") + dlerror();
  }
  fail(kLibraryFailed, "cannot find the library " + soname + " beside this program, in " +
                           programDirectory + FK_IK_SO_RELATIVE_LIBDIR +
                           " or on the library path; give it with --lib FILE (tried: " + tried +
                           ")");
}

// Angles come out in degrees with --deg; the library works in radians.
struct Angles {
  bool degrees;
  double out(double angle) const { return degrees ? angle * 180.0 / M_PI : angle; }
  const char* unit() const { return degrees ? "deg" : "rad"; }
};

const char* resultMeaning(int code) {
  switch (code) {
    case 0:
      return "solved";
    case 1:
      return "no model: init has not been called";
    case 2:
      return "shoulder singular";
    case 3:
      return "elbow singular";
    case 4:
      return "wrist singular";
    case 5:
      return "invalid configuration mode";
    case 6:
      return "target out of reach";
    case 7:
      return "no solution in the configuration of the reference";
    default:
      return "unknown result code";
  }
}

void printRow(const char* label, const double values[6]) {
  std::printf("%-12s", label);
  for (int k = 0; k < 6; ++k) std::printf(" %14.9f", values[k]);
  std::printf("\n");
}

void printHeader(const char* label, const char* const names[6]) {
  std::printf("%-12s", label);
  for (int k = 0; k < 6; ++k) std::printf(" %14s", names[k]);
  std::printf("\n");
}

// A pose with its angles converted for output.
void printPose(const char* label, const double pose[6], const Angles& angles) {
  const double shown[6] = {
      pose[0], pose[1], pose[2], angles.out(pose[3]), angles.out(pose[4]), angles.out(pose[5])};
  printRow(label, shown);
}

void printJoints(const char* label, const double q[6], const Angles& angles) {
  double shown[6];
  for (int k = 0; k < 6; ++k) shown[k] = angles.out(q[k]);
  printRow(label, shown);
}

const char* const kPoseColumns[6] = {"x", "y", "z", "roll", "pitch", "yaw"};
const char* const kJointColumns[6] = {"q1", "q2", "q3", "q4", "q5", "q6"};
const char* const kDemoColumns[6] = {"1", "2", "3", "4", "5", "6"};

int runFk(const Library& library, const Arguments& args, const Angles& angles) {
  double pose[6];
  library.jntPosToTcpPos(args.numbers, args.tool, pose);
  printHeader("", kPoseColumns);
  printPose("tcp", pose, angles);
  return kDone;
}

int runIk(const Library& library, const Arguments& args, const Angles& angles) {
  double q[6];
  const int code = library.tcpPosToJntPos(args.numbers, args.tool, args.ref, q);
  std::printf("result %d: %s\n", code, resultMeaning(code));
  printHeader("", kJointColumns);
  printJoints("joints", q, angles);
  return code == 0 ? kDone : kNoSolution;
}

// Joint positions of the demo, in radians, clear of the sample arm's singular
// configurations; the last lies beyond +-pi to show that the turns are kept.
const double kDemoJoints[][6] = {
    {0.0, -1.2, 1.5, -0.3, 1.0, 0.0},   {0.5, -0.8, 1.2, 0.7, -0.9, 1.0},
    {-1.0, -2.0, -1.3, 2.0, 0.6, -2.5}, {2.5, -0.4, 0.7, -1.5, 1.8, 3.0},
    {-2.8, -1.6, 2.2, 0.9, -2.0, 0.5},  {3.5, -1.0, 1.0, -4.0, 1.2, 7.0}};
const int kDemoCases = sizeof(kDemoJoints) / sizeof(kDemoJoints[0]);
const int kTimedCalls = 100000;

// Nanoseconds per call of call(k) over kTimedCalls calls, k cycling through the cases.
template <typename Call>
double nanosecondsPerCall(Call call) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < kTimedCalls; ++i) call(i % kDemoCases);
  const std::chrono::duration<double, std::nano> elapsed = std::chrono::steady_clock::now() - start;
  return elapsed.count() / kTimedCalls;
}

int runDemo(const Library& library, const Arguments& args, const Angles& angles,
            const double arm[6][4]) {
  std::printf("arm (%s): a alpha d theta per joint, lengths in its unit, angles in rad\n",
              args.armFile.empty() ? "built-in sample, metres" : args.armFile.c_str());
  for (int j = 0; j < 6; ++j) {
    std::printf("  joint %d %10.4f %10.4f %10.4f %10.4f\n", j + 1, arm[j][0], arm[j][1], arm[j][2],
                arm[j][3]);
  }
  std::printf("tool: %g %g %g, %g %g %g %s\n\n", args.tool[0], args.tool[1], args.tool[2],
              angles.out(args.tool[3]), angles.out(args.tool[4]), angles.out(args.tool[5]),
              angles.unit());
  std::printf(
      "forward, then back with the joints in as reference, in their configuration mode (two\n"
      "solutions can share a mode); pose = x y z roll pitch yaw, angles in %s; pose error =\n"
      "largest difference of the pose reached by the joints back (lengths, rad)\n",
      angles.unit());

  double poses[kDemoCases][6];
  for (int c = 0; c < kDemoCases; ++c) {
    const double* q = kDemoJoints[c];
    double back[6], again[6];
    library.jntPosToTcpPos(q, args.tool, poses[c]);
    const int code = library.tcpPosToJntPos(poses[c], args.tool, q, back);
    library.jntPosToTcpPos(back, args.tool, again);
    // Largest difference of the pose reached from the pose asked for, angles taken
    // modulo a turn.
    double error = 0.0;
    for (int k = 0; k < 6; ++k) {
      const double difference = again[k] - poses[c][k];
      error =
          std::fmax(error, std::fabs(k < 3 ? difference : std::remainder(difference, 2 * M_PI)));
    }

    const std::string label = "case " + std::to_string(c + 1);
    std::printf("\n");
    printHeader(label.c_str(), kDemoColumns);
    printJoints("joints in", q, angles);
    printPose("pose", poses[c], angles);
    printJoints("joints back", back, angles);
    if (code == 0) {
      std::printf("result 0 (%s), pose error %.1e\n", resultMeaning(code), error);
    } else {
      std::printf("result %d (%s)\n", code, resultMeaning(code));
    }
  }

  // Calls through pointers into the loaded library: none of them can be optimised away.
  const double forward = nanosecondsPerCall([&](int c) {
    double pose[6];
    library.jntPosToTcpPos(kDemoJoints[c], args.tool, pose);
  });
  const double inverse = nanosecondsPerCall([&](int c) {
    double q[6];
    library.tcpPosToJntPos(poses[c], args.tool, kDemoJoints[c], q);
  });
  std::printf("\ntime per call, over %d calls each\n", kTimedCalls);
  std::printf("  jntPosToTcpPos (forward) %10.0f ns\n", forward);
  std::printf("  tcpPosToJntPos (inverse) %10.0f ns\n", inverse);
  return kDone;
}

}  // namespace

int main(int argc, char** argv) {
  const Arguments args = parseArguments(argc, argv);
  const Angles angles{args.degrees};

  double arm[6][4];
  if (args.armFile.empty()) {
    std::memcpy(arm, kSampleArm, sizeof(arm));
  } else {
    readArm(args.armFile, arm);
  }
  const Library library = args.libraryFile.empty() ? findLibrary(programDirectory(argv[0]))
                                                   : loadLibrary(args.libraryFile);
  library.init(arm);
  if (args.command == "fk") return runFk(library, args, angles);
  if (args.command == "ik") return runIk(library, args, angles);
  return runDemo(library, args, angles, arm);
}
