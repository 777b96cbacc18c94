// fkik: command-line host of libFk_Ik_so. It loads the library with dlopen and calls
// its C functions, as a host process does: forward kinematics (fk), inverse kinematics
// (ik: the single answer, one in a chosen mode, all eight candidates or the nearest one),
// one request or a batch of them, and a demo of both directions on a built-in sample arm.
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
    "usage: fkik [options] fk Q1 Q2 Q3 Q4 Q5 Q6\n"
    "       fkik [options] ik X Y Z ROLL PITCH YAW --ref Q1 ... Q6\n"
    "       fkik [options] fk -   and   fkik [options] ik -   (a batch, see below)\n"
    "       fkik [options] demo\n"
    "\n"
    "fk prints the pose of the tool centre point (x y z roll pitch yaw) at the joint\n"
    "positions; ik prints the result code and the joint positions that reach the pose in\n"
    "the configuration and turns of the reference --ref, with the residual: the distance\n"
    "of the pose those joints reach from the pose asked for (origins, in the arm's length\n"
    "unit, plus the angle between the orientations, in rad); demo runs forward and back\n"
    "over a few joint positions and times both directions.\n"
    "\n"
    "options:\n"
    "  --arm FILE     the arm's modified DH parameters: six lines, joint 1 first, of\n"
    "                 a alpha d theta (lengths in any unit, angles in radians; '#' starts a\n"
    "                 comment, commas count as spaces); default: the built-in sample arm,\n"
    "                 in metres. A warning goes to stderr when the arm is not of the form\n"
    "                 the inverse solver is exact for.\n"
    "  --arm-deg      the arm file's alpha and theta are in degrees\n"
    "  --lib FILE     the library to load; default: " FK_IK_SO_SONAME
    " beside this program,\n"
    "                 else in " FK_IK_SO_RELATIVE_LIBDIR
    " from it, else on the library path\n"
    "  --deg          angles on the command line, in batches and in the output in degrees\n"
    "                 (default radians)\n"
    "  --tool X Y Z RX RY RZ\n"
    "                 the tool centre point relative to the flange (default all zero)\n"
    "  --mode M       ik: the answer in configuration mode M (0 ... 7; -1 the reference's)\n"
    "  --all          ik: all eight candidate solutions, each with its configuration mode\n"
    "                 and status (solved, singular, or out of the arm links' reach)\n"
    "  --nearest      ik: the solution nearest the reference, whole turns included\n"
    "  --limits FILE  ik --nearest: joint limits, six lines of lower upper (inf allowed)\n"
    "  --format F     text (default), json or csv; json and csv print every number with 17\n"
    "                 significant digits, so that a pose printed by fk gives back the same\n"
    "                 joints in ik (in radians)\n"
    "  --input FILE   a batch read from FILE instead of standard input\n"
    "  --header       the first line of a batch is a header: skipped, whatever it holds\n"
    "  --version      the program's version\n"
    "\n"
    "batches: fk - and ik - read one request per line ('#' starts a comment, commas count\n"
    "as spaces): fk six joint positions; ik six pose values, then optionally six reference\n"
    "joint positions (else --ref). They write one row per request, in order, so that row k\n"
    "answers request k; blank lines and lines of only a comment are no requests and get no\n"
    "row. csv output and text batches open with a header that is such a comment ('# ' and\n"
    "the column names), so that they read back as a batch; --header skips another kind.\n"
    "A malformed line gets an error row in its place,\n"
    "  text  error line N: MESSAGE\n"
    "  csv   error,N,\"MESSAGE\"\n"
    "  json  {\"line\": N, \"error\": \"MESSAGE\"}\n"
    "is reported on stderr with its line number too, and the batch goes on. In text and\n"
    "csv, ik --all writes the call's code and eight groups of mode, status, joints and\n"
    "residual on one line.\n"
    "\n"
    "exit status: 0 done; 1 the library cannot be used; 2 bad input (in a batch: some line\n"
    "was malformed); 10 + the result code when ik found no solution (in a batch: the first\n"
    "such code): 12 shoulder, 13 elbow, 14 wrist singular, 15 invalid mode, 16 out of\n"
    "reach, 17 no solution (in the configuration, within the limits, or for the arm links;\n"
    "with --all: no candidate solved), 18 invalid joint limits.\n";

enum ExitStatus { kDone = 0, kLibraryFailed = 1, kBadInput = 2, kResultBase = 10 };

// The built-in sample arm: a, alpha, d, theta per joint, in metres and radians.
const double kSampleArm[6][4] = {{0, 0, 0.1625, 0},        {0, -M_PI / 2, 0, 0},
                                 {0.425, 0, 0, 0},         {0.3922, M_PI, 0.1333, 0},
                                 {0, M_PI / 2, 0.0997, 0}, {0, M_PI / 2, 0.0996, 0}};

[[noreturn]] void fail(ExitStatus status, const std::string& message) {
  std::fprintf(stderr, "fkik: %s\n", message.c_str());
  std::exit(status);
}

// The whole of text as a number into value, finite unless infinities are allowed; else
// the reason it is not, naming what it was for.
bool readNumber(const std::string& text, const std::string& what, bool allowInfinite, double& value,
                std::string& error) {
  const char* begin = text.c_str();
  char* end = nullptr;
  errno = 0;
  value = std::strtod(begin, &end);
  if (end == begin || *end != '\0') {
    error = "'" + text + "' is not a number (" + what + ")";
    return false;
  }
  // strtod reports ERANGE for subnormal results too; only an overflow is refused.
  const bool overflow = errno == ERANGE && std::fabs(value) == HUGE_VAL;
  if (std::isnan(value) || (!allowInfinite && (overflow || std::isinf(value)))) {
    error = "'" + text + "' is not a finite number (" + what + ")";
    return false;
  }
  return true;
}

double parseNumber(const std::string& text, const std::string& what, bool allowInfinite = false) {
  double value;
  std::string error;
  if (!readNumber(text, what, allowInfinite, value, error)) fail(kBadInput, error);
  return value;
}

// The words of a line: '#' starts a comment, commas count as spaces.
std::vector<std::string> splitWords(std::string text) {
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
  return words;
}

// Calls take(lineNumber, words) for each line of `in` that holds words (see splitWords),
// counting lines from 1. Returns false when reading failed; errno then says why.
template <typename Take>
bool forEachLine(std::FILE* in, Take take) {
  char* line = nullptr;
  size_t capacity = 0;
  for (int lineNumber = 1; getline(&line, &capacity, in) != -1; ++lineNumber) {
    const std::vector<std::string> words = splitWords(line);
    if (!words.empty()) take(lineNumber, words);
  }
  const bool readOk = std::ferror(in) == 0;
  const int readErrno = errno;
  std::free(line);
  errno = readErrno;
  return readOk;
}

enum class Format { Text, Json, Csv };

// The command line, every angle converted to radians.
struct Arguments {
  std::string command;
  std::vector<std::string> values;         // the numbers after the command, as typed
  double numbers[6] = {0, 0, 0, 0, 0, 0};  // the same, read: joints (fk) or pose (ik)
  double tool[6] = {0, 0, 0, 0, 0, 0};
  bool hasRef = false;
  double ref[6] = {0, 0, 0, 0, 0, 0};
  std::string armFile;
  bool armDegrees = false;
  std::string libraryFile;
  bool degrees = false;
  bool hasMode = false;
  int mode = -1;
  bool all = false;
  bool nearest = false;
  std::string limitsFile;
  Format format = Format::Text;
  bool batch = false;
  std::string inputFile;
  bool header = false;
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

// The word that follows option argv[i] (a file name or a value); moves i past it.
std::string takeWord(int argc, char** argv, int& i, const char* what = "a file name") {
  if (i + 1 >= argc) fail(kBadInput, std::string(argv[i]) + " needs " + what);
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
    } else if (arg == "--version") {
      std::printf("fkik %s\n", FKIK_VERSION);
      std::exit(kDone);
    } else if (arg == "--deg") {
      args.degrees = true;
    } else if (arg == "--arm") {
      args.armFile = takeWord(argc, argv, i);
    } else if (arg == "--arm-deg") {
      args.armDegrees = true;
    } else if (arg == "--lib") {
      args.libraryFile = takeWord(argc, argv, i);
    } else if (arg == "--tool") {
      takeSix(argc, argv, i, kToolNames, args.tool);
    } else if (arg == "--ref") {
      takeSix(argc, argv, i, kJointNames, args.ref);
      args.hasRef = true;
    } else if (arg == "--mode") {
      const std::string text = takeWord(argc, argv, i, "a mode");
      const double mode = parseNumber(text, "--mode");
      if (mode != std::trunc(mode) || std::fabs(mode) > 1e9) {
        fail(kBadInput, "'" + text + "' is not an integer (--mode)");
      }
      args.mode = static_cast<int>(mode);
      args.hasMode = true;
    } else if (arg == "--all") {
      args.all = true;
    } else if (arg == "--nearest") {
      args.nearest = true;
    } else if (arg == "--limits") {
      args.limitsFile = takeWord(argc, argv, i);
    } else if (arg == "--format") {
      const std::string format = takeWord(argc, argv, i, "a format");
      if (format != "text" && format != "json" && format != "csv") {
        fail(kBadInput, "unknown format '" + format + "' (expected text, json or csv)");
      }
      args.format = format == "json" ? Format::Json : format == "csv" ? Format::Csv : Format::Text;
    } else if (arg == "--input") {
      args.inputFile = takeWord(argc, argv, i);
      args.batch = true;
    } else if (arg == "--header") {
      args.header = true;
    } else if (arg.compare(0, 2, "--") == 0) {
      fail(kBadInput, "unknown option '" + arg + "' (see fkik --help)");
    } else if (args.command.empty()) {
      if (arg != "fk" && arg != "ik" && arg != "demo") {
        fail(kBadInput, "unknown command '" + arg + "' (expected fk, ik or demo)");
      }
      args.command = arg;
    } else if (arg == "-" && args.values.empty() && args.command != "demo") {
      args.batch = true;
    } else {
      args.values.push_back(arg);
    }
  }
  if (args.command.empty()) fail(kBadInput, "no command given (expected fk, ik or demo)");
  const size_t expected = args.command == "demo" || args.batch ? 0 : 6;
  if (args.values.size() != expected) {
    const char* what = args.command == "fk"   ? " joint positions"
                       : args.command == "ik" ? " pose values (X Y Z ROLL PITCH YAW)"
                                              : " numbers";
    fail(kBadInput, args.command + (args.batch ? " - takes " : " takes ") +
                        std::to_string(expected) + what + ", got " +
                        std::to_string(args.values.size()));
  }
  const bool ik = args.command == "ik";
  if (ik && !args.hasRef && !args.batch) fail(kBadInput, "ik needs --ref Q1 ... Q6");
  if (!ik && args.hasRef) fail(kBadInput, "--ref belongs to ik only");
  if (!ik && (args.hasMode || args.all || args.nearest)) {
    fail(kBadInput, "--mode, --all and --nearest belong to ik only");
  }
  if (args.hasMode + args.all + args.nearest > 1) {
    fail(kBadInput, "--mode, --all and --nearest exclude each other");
  }
  if (!args.limitsFile.empty() && !args.nearest)
    fail(kBadInput, "--limits belongs to ik --nearest");
  if (args.armDegrees && args.armFile.empty()) fail(kBadInput, "--arm-deg needs --arm FILE");
  if (args.header && !args.batch) fail(kBadInput, "--header belongs to batches (fk -, ik -)");
  if (args.command == "demo" && (args.batch || args.format != Format::Text)) {
    fail(kBadInput, "demo takes no batch and writes text only");
  }
  for (size_t k = 0; k < args.values.size(); ++k) {
    args.numbers[k] = parseNumber(args.values[k], (ik ? kPoseNames : kJointNames)[k]);
  }
  // The library works in radians.
  if (args.degrees) {
    for (int k = ik ? 3 : 0; k < 6; ++k) args.numbers[k] *= M_PI / 180.0;
    for (int k = 3; k < 6; ++k) args.tool[k] *= M_PI / 180.0;
    for (double& q : args.ref) q *= M_PI / 180.0;
  }
  return args;
}

// Rows of numbers from a file: exactly `count` rows of as many values as `names` has
// words, '#' comments and blank lines skipped, commas taken as spaces. kind names the
// file in messages ("arm", "limits").
void readRows(const std::string& file, const char* kind, const std::string& names, int count,
              bool allowInfinite, double* out) {
  std::FILE* in = std::fopen(file.c_str(), "r");
  const std::string where = std::string(kind) + " file '" + file + "'";
  if (in == nullptr) fail(kBadInput, "cannot read " + where + ": " + std::strerror(errno));
  const size_t columns = splitWords(names).size();
  int rows = 0;
  const bool readOk = forEachLine(in, [&](int lineNumber, const std::vector<std::string>& words) {
    const std::string at = where + " line " + std::to_string(lineNumber);
    if (rows == count) {
      fail(kBadInput, at + ": more than " + std::to_string(count) + " joint rows");
    }
    if (words.size() != columns) {
      fail(kBadInput, at + ": expected " + std::to_string(columns) + " values (" + names +
                          "), got " + std::to_string(words.size()));
    }
    for (size_t k = 0; k < columns; ++k) {
      out[rows * columns + k] = parseNumber(words[k], at, allowInfinite);
    }
    ++rows;
  });
  const int readErrno = errno;
  std::fclose(in);
  if (!readOk) fail(kBadInput, "cannot read " + where + ": " + std::strerror(readErrno));
  if (rows < count) {
    fail(kBadInput,
         where + " has " + std::to_string(rows) + " joint rows, expected " + std::to_string(count));
  }
}

// The library's functions, found with dlsym.
struct Library {
  decltype(&::init) init;
  decltype(&::jntPosToTcpPos) jntPosToTcpPos;
  decltype(&::tcpPosToJntPos) tcpPosToJntPos;
  decltype(&::tcpPosToJntPosInMode) tcpPosToJntPosInMode;
  decltype(&::tcpPosToAllJntPos) tcpPosToAllJntPos;
  decltype(&::tcpPosToNearestJntPos) tcpPosToNearestJntPos;
  decltype(&::checkArmForm) checkArmForm;
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
  library.tcpPosToJntPosInMode =
      reinterpret_cast<decltype(library.tcpPosToJntPosInMode)>(find("tcpPosToJntPosInMode"));
  library.tcpPosToAllJntPos =
      reinterpret_cast<decltype(library.tcpPosToAllJntPos)>(find("tcpPosToAllJntPos"));
  library.tcpPosToNearestJntPos =
      reinterpret_cast<decltype(library.tcpPosToNearestJntPos)>(find("tcpPosToNearestJntPos"));
  library.checkArmForm = reinterpret_cast<decltype(library.checkArmForm)>(find("checkArmForm"));
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
      return "no solution in the configuration of the reference, within the limits or for "
             "the arm links";
    case 8:
      return "invalid joint limits";
    default:
      return "unknown result code";
  }
}

// Status of one of the eight candidates.
const char* statusMeaning(int status) {
  return status == 7 ? "out of the links' reach" : resultMeaning(status);
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

// Rotation matrix of roll, pitch, yaw about the fixed x, y, z axes.
void rpyMatrix(const double* rpy, double m[3][3]) {
  const double cr = std::cos(rpy[0]), sr = std::sin(rpy[0]), cp = std::cos(rpy[1]),
               sp = std::sin(rpy[1]), cy = std::cos(rpy[2]), sy = std::sin(rpy[2]);
  const double r[3][3] = {{cy * cp, cy * sp * sr - sy * cr, cy * sp * cr + sy * sr},
                          {sy * cp, sy * sp * sr + cy * cr, sy * sp * cr - cy * sr},
                          {-sp, cp * sr, cp * cr}};
  std::memcpy(m, r, sizeof r);
}

// The residual of joints q for the target pose: the distance of the pose they reach from
// the target, origins plus the angle between the orientations, 2 asin(|A - B| / sqrt(8))
// with the Frobenius norm, exact for small angles as well.
double residual(const Library& library, const double q[6], const double tool[6],
                const double target[6]) {
  double reached[6], a[3][3], b[3][3], origins = 0.0, rotations = 0.0;
  library.jntPosToTcpPos(q, tool, reached);
  rpyMatrix(reached + 3, a);
  rpyMatrix(target + 3, b);
  for (int i = 0; i < 3; ++i) {
    origins += (reached[i] - target[i]) * (reached[i] - target[i]);
    for (int j = 0; j < 3; ++j) rotations += (a[i][j] - b[i][j]) * (a[i][j] - b[i][j]);
  }
  return std::sqrt(origins) + 2 * std::asin(std::fmin(1.0, std::sqrt(rotations / 8)));
}

// Answers in the chosen format. Text is a table for one request and one line of
// space-separated values per answer in a batch; json is one object per answer; csv one
// header line, then one line per answer. json and csv print 17 significant digits.
struct Output {
  Format format;
  bool batch;
  Angles angles;
  std::string columns;  // the csv header's names, comma-separated
  bool headerWritten = false;

  bool table() const { return format == Format::Text && !batch; }
  const char* separator() const { return format == Format::Csv ? "," : " "; }

  // The header of csv and of text batches, once, before the first row. It is a '#'
  // comment, so that a batch reading this output back takes it for no request.
  void header() {
    if (headerWritten || format == Format::Json || table()) return;
    headerWritten = true;
    std::string line = "# " + columns;
    if (format == Format::Text) {
      for (char& c : line) {
        if (c == ',') c = ' ';
      }
    }
    std::printf("%s\n", line.c_str());
  }

  // The row of a malformed batch line, in the place of its answer. Read back as a batch,
  // it is malformed again, so rows stay in line through a chain of batches.
  void errorRow(int line, const std::string& message) {
    header();
    if (format == Format::Text) {
      std::printf("error line %d: %s\n", line, message.c_str());
      return;
    }
    // Both quote the message; csv doubles a quote, json escapes it and control characters.
    const bool json = format == Format::Json;
    std::string quoted = "\"";
    for (const char c : message) {
      if (c == '"') {
        quoted += json ? "\\\"" : "\"\"";
      } else if (json && c == '\\') {
        quoted += "\\\\";
      } else if (json && static_cast<unsigned char>(c) < 0x20) {
        char escaped[8];
        std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
        quoted += escaped;
      } else {
        quoted += c;
      }
    }
    quoted += "\"";
    if (json) {
      std::printf("{\"line\": %d, \"error\": %s}\n", line, quoted.c_str());
    } else {
      std::printf("error,%d,%s\n", line, quoted.c_str());
    }
  }

  void number(double v) const {
    if (format == Format::Json && !std::isfinite(v)) {
      std::printf("null");
    } else {
      std::printf(format == Format::Text ? "%.12g" : "%.17g", v);
    }
  }
  // Values separated as the format wants, json as an array.
  void numbers(const double* v, int n) const {
    if (format == Format::Json) std::printf("[");
    for (int k = 0; k < n; ++k) {
      if (k > 0) std::printf(format == Format::Json ? ", " : separator());
      number(v[k]);
    }
    if (format == Format::Json) std::printf("]");
  }
  void joints(const double q[6]) const {
    double shown[6];
    for (int k = 0; k < 6; ++k) shown[k] = angles.out(q[k]);
    numbers(shown, 6);
  }
  // A residual; none (empty, null or "-") for joints that are no answer.
  void residualOf(bool solved, double value) const {
    if (solved) {
      number(value);
    } else {
      std::printf(format == Format::Json ? "null" : format == Format::Csv ? "" : "-");
    }
  }
};

// The names of the csv columns of the command's answers.
std::string csvColumns(const Arguments& args) {
  if (args.command == "fk") return "x,y,z,roll,pitch,yaw";
  if (!args.all) return "result,q1,q2,q3,q4,q5,q6,residual";
  std::string columns = "result";
  for (int k = 0; k < 8; ++k) {
    const std::string c = std::to_string(k);
    columns += ",mode" + c + ",status" + c;
    for (int j = 1; j <= 6; ++j) columns += ",q" + std::to_string(j) + "_" + c;
    columns += ",residual" + c;
  }
  return columns;
}

// The forward pose of one request.
int answerFk(const Library& library, const Arguments& args, Output& out, const double q[6],
             int line) {
  double pose[6];
  library.jntPosToTcpPos(q, args.tool, pose);
  const double shown[6] = {pose[0],
                           pose[1],
                           pose[2],
                           out.angles.out(pose[3]),
                           out.angles.out(pose[4]),
                           out.angles.out(pose[5])};
  if (out.table()) {
    printHeader("", kPoseColumns);
    printRow("tcp", shown);
    return 0;
  }
  out.header();
  if (out.format == Format::Json) {
    std::printf("{");
    if (out.batch) std::printf("\"line\": %d, ", line);
    std::printf("\"tcp\": ");
  }
  out.numbers(shown, 6);
  std::printf(out.format == Format::Json ? "}\n" : "\n");
  return 0;
}

// The eight candidates of one request. Returns the call's code, or 7 when it is 0 but no
// candidate is solved.
int answerAll(const Library& library, const Arguments& args, Output& out, const double pose[6],
              const double ref[6], int line) {
  double q[8][6], residuals[8];
  int mode[8], status[8];
  const int code = library.tcpPosToAllJntPos(pose, args.tool, ref, q, mode, status);
  bool anySolved = false;
  for (int k = 0; k < 8; ++k) {
    residuals[k] = status[k] == 0 ? residual(library, q[k], args.tool, pose) : 0.0;
    anySolved = anySolved || status[k] == 0;
  }
  if (out.table()) {
    std::printf("result %d: %s\n", code, resultMeaning(code));
    std::printf("%-9s %4s %-24s", "candidate", "mode", "status");
    for (const char* name : kJointColumns) std::printf(" %14s", name);
    std::printf(" %10s\n", "residual");
    for (int k = 0; k < 8; ++k) {
      std::printf("%-9d %4d %-24s", k, mode[k], statusMeaning(status[k]));
      for (int j = 0; j < 6; ++j) std::printf(" %14.9f", out.angles.out(q[k][j]));
      if (status[k] == 0) {
        std::printf(" %10.1e\n", residuals[k]);
      } else {
        std::printf(" %10s\n", "-");
      }
    }
  } else {
    out.header();
    if (out.format == Format::Json) {
      std::printf("{");
      if (out.batch) std::printf("\"line\": %d, ", line);
      std::printf("\"result\": %d, \"meaning\": \"%s\", \"candidates\": [", code,
                  resultMeaning(code));
    } else {
      std::printf("%d", code);
    }
    for (int k = 0; k < 8; ++k) {
      if (out.format == Format::Json) {
        std::printf("%s{\"mode\": %d, \"status\": %d, \"meaning\": \"%s\", \"joints\": ",
                    k > 0 ? ", " : "", mode[k], status[k], statusMeaning(status[k]));
        out.joints(q[k]);
        std::printf(", \"residual\": ");
        out.residualOf(status[k] == 0, residuals[k]);
        std::printf("}");
      } else {
        std::printf("%s%d%s%d%s", out.separator(), mode[k], out.separator(), status[k],
                    out.separator());
        out.joints(q[k]);
        std::printf("%s", out.separator());
        out.residualOf(status[k] == 0, residuals[k]);
      }
    }
    std::printf(out.format == Format::Json ? "]}\n" : "\n");
  }
  return code != 0 ? code : anySolved ? 0 : 7;
}

// The inverse of one request, as the options ask. Returns its result code.
int answerIk(const Library& library, const Arguments& args, Output& out, const double pose[6],
             const double ref[6], const double* lower, const double* upper, int line) {
  if (args.all) return answerAll(library, args, out, pose, ref, line);
  double q[6];
  const int code = args.nearest
                       ? library.tcpPosToNearestJntPos(pose, args.tool, ref, lower, upper, q)
                   : args.hasMode ? library.tcpPosToJntPosInMode(pose, args.tool, ref, args.mode, q)
                                  : library.tcpPosToJntPos(pose, args.tool, ref, q);
  const double miss = code == 0 ? residual(library, q, args.tool, pose) : 0.0;
  if (out.table()) {
    std::printf("result %d: %s\n", code, resultMeaning(code));
    printHeader("", kJointColumns);
    printJoints("joints", q, out.angles);
    if (code == 0) std::printf("residual %.1e\n", miss);
    return code;
  }
  out.header();
  if (out.format == Format::Json) {
    std::printf("{");
    if (out.batch) std::printf("\"line\": %d, ", line);
    std::printf("\"result\": %d, \"meaning\": \"%s\", \"joints\": ", code, resultMeaning(code));
    out.joints(q);
    std::printf(", \"residual\": ");
    out.residualOf(code == 0, miss);
    std::printf("}\n");
  } else {
    std::printf("%d%s", code, out.separator());
    out.joints(q);
    std::printf("%s", out.separator());
    out.residualOf(code == 0, miss);
    std::printf("\n");
  }
  return code;
}

// Exit status of a result code.
int exitStatus(int code) {
  return code == 0 ? kDone : kResultBase + code;
}

// A batch: one request per line of standard input or --input, one row per request, so
// that row k answers request k: a malformed line gets an error row in its place and is
// reported with its number on stderr. Only --header makes the first line no request, never
// its failing to read: a request mistyped there is reported like any other. Exit status: 2
// when a line was malformed, else that of the first failing request, else 0.
int runBatch(const Library& library, const Arguments& args, Output& out, const double* lower,
             const double* upper) {
  std::FILE* in = stdin;
  std::string where = "line ";
  if (!args.inputFile.empty()) {
    in = std::fopen(args.inputFile.c_str(), "r");
    if (in == nullptr) {
      fail(kBadInput, "cannot read input file '" + args.inputFile + "': " + std::strerror(errno));
    }
    where = "input file '" + args.inputFile + "' line ";
  }
  const bool ik = args.command == "ik";
  bool malformed = false;
  int firstFailure = 0;
  // A read error ends the batch like the end of the input.
  forEachLine(in, [&](int lineNumber, const std::vector<std::string>& words) {
    if (args.header && lineNumber == 1) return;
    double values[12];
    std::string error;
    bool numbers = true;
    for (size_t k = 0; numbers && k < words.size() && k < 12; ++k) {
      const char* name = k < 6 ? (ik ? kPoseNames : kJointNames)[k] : kJointNames[k % 6];
      numbers = readNumber(words[k], name, false, values[k], error);
    }
    const size_t count = words.size();
    if (numbers && !(count == 6 || (ik && count == 12))) {
      error = ik ? "expected 6 pose values, or 12 with the reference, got "
                 : "expected 6 joint positions, got ";
      error += std::to_string(count);
      numbers = false;
    }
    if (numbers && ik && count == 6 && !args.hasRef) {
      error = "no reference: give --ref or six more numbers";
      numbers = false;
    }
    if (!numbers) {
      std::fprintf(stderr, "fkik: %s%d: %s\n", where.c_str(), lineNumber, error.c_str());
      out.errorRow(lineNumber, error);
      malformed = true;
      return;
    }
    // Pose angles and reference joints (ik), joints (fk) in degrees.
    if (args.degrees) {
      for (size_t k = ik ? 3 : 0; k < count; ++k) values[k] *= M_PI / 180.0;
    }
    const int code = ik ? answerIk(library, args, out, values, count == 12 ? values + 6 : args.ref,
                                   lower, upper, lineNumber)
                        : answerFk(library, args, out, values, lineNumber);
    if (firstFailure == 0) firstFailure = code;
  });
  if (in != stdin) std::fclose(in);
  return malformed ? kBadInput : exitStatus(firstFailure);
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
    readRows(args.armFile, "arm", "a alpha d theta", 6, false, &arm[0][0]);
    if (args.armDegrees) {
      for (auto& row : arm) {
        row[1] *= M_PI / 180.0;
        row[3] *= M_PI / 180.0;
      }
    }
  }
  // Limits: rows of lower, upper per joint, angles as on the command line.
  double limits[6][2];
  double lower[6], upper[6];
  if (!args.limitsFile.empty()) {
    readRows(args.limitsFile, "limits", "lower upper", 6, true, &limits[0][0]);
    for (int j = 0; j < 6; ++j) {
      lower[j] = args.degrees ? limits[j][0] * M_PI / 180.0 : limits[j][0];
      upper[j] = args.degrees ? limits[j][1] * M_PI / 180.0 : limits[j][1];
    }
  }
  const Library library = args.libraryFile.empty() ? findLibrary(programDirectory(argv[0]))
                                                   : loadLibrary(args.libraryFile);
  library.init(arm);

  // The inverse solver checks none of its arm's form: an arm of another form gets answers
  // that miss the pose (the residual shows by how much).
  const int form = library.checkArmForm(arm);
  if (form != 0) {
    const char* const fields[4] = {"a", "alpha", "d", "theta"};
    const int record = (form - 1) / 4, field = (form - 1) % 4;
    std::fprintf(stderr,
                 "fkik: warning: the arm is not of the form the inverse solver is exact for "
                 "(joint %d %s = %.17g); its inverse answers may miss the pose\n",
                 record + 1, fields[field], arm[record][field]);
  }

  if (args.command == "demo") return runDemo(library, args, angles, arm);
  Output out{args.format, args.batch, angles, csvColumns(args)};
  const double* low = args.limitsFile.empty() ? nullptr : lower;
  const double* high = args.limitsFile.empty() ? nullptr : upper;
  if (args.batch) return runBatch(library, args, out, low, high);
  if (args.command == "fk") return answerFk(library, args, out, args.numbers, 0);
  const int code = answerIk(library, args, out, args.numbers, args.ref, low, high, 0);
  return exitStatus(code);
}
