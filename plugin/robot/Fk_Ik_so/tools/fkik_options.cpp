// fkik's command line: the usage text, the options read into Arguments, and the numbers
// and rows of files (arm, DH and limits files).
#include <cstring>

#include "fkik.h"

namespace fkik {

namespace {

const char* const kUsage =
    "usage: fkik [options] fk Q1 Q2 Q3 Q4 Q5 Q6\n"
    "       fkik [options] ik X Y Z ROLL PITCH YAW --ref Q1 ... Q6\n"
    "       fkik [options] fk -   and   fkik [options] ik -   (a batch, see below)\n"
    "       fkik [options] arm\n"
    "       fkik [options] demo\n"
    "\n"
    "fk prints the pose of the tool centre point (x y z roll pitch yaw) at the joint\n"
    "positions; ik prints the result code and the joint positions that reach the pose in\n"
    "the configuration and turns of the reference --ref, with the residual: the distance\n"
    "of the pose those joints reach from the pose asked for (origins, in the arm's length\n"
    "unit, plus the angle between the orientations, in rad); arm prints the layout of the\n"
    "arm's axes (its family), the solver of its inverse (a closed form, or elimination),\n"
    "its equivalent modified rows with joint senses, base and flange frames, and whether\n"
    "those rows are of the designed solver's form; demo runs forward and back over a few\n"
    "joint positions and times both directions.\n"
    "\n"
    "the arm: the built-in sample arm (in metres), or one of --arm, --dh and --urdf. fk,\n"
    "ik and arm take any arm. The sample arm and --arm rows of the designed solver's form\n"
    "without --signs go to the designed functions. Any other arm (--dh, --signs, --urdf,\n"
    "--arm rows outside that form) is held by an arm handle: its ik answers with the\n"
    "solution nearest --ref within the arm's joint limits (the URDF file's, else none;\n"
    "--limits overrides them), or with every solution (--all), in closed form where the\n"
    "arm's layout allows and by elimination otherwise; a degenerate arm (coincident axes)\n"
    "has no inverse and exits with status 21. --mode and demo belong to the designed\n"
    "solver and refuse an arm handle (exit status 2).\n"
    "  --arm FILE     modified (Craig's) DH rows: six lines, joint 1 first, of\n"
    "                 a alpha d theta (lengths in any unit, angles in radians; '#' starts a\n"
    "                 comment, commas count as spaces)\n"
    "  --dh FILE      standard (distal) DH rows, in the same file form and column order:\n"
    "                 six lines of a alpha d theta\n"
    "  --arm-deg      the --arm or --dh file's alpha and theta are in degrees\n"
    "  --signs S1 ... S6\n"
    "                 the joints' senses for --arm or --dh rows, +1 or -1 each: joint i\n"
    "                 turns by theta + Si Qi (default all +1)\n"
    "  --urdf FILE    the arm from a URDF file: the six moving (revolute or continuous)\n"
    "                 joints of the chain from --base to --tip\n"
    "  --base LINK    the chain's first link (default: the root link, or the one link a\n"
    "                 root named world carries)\n"
    "  --tip LINK     the chain's last link (default: the only leaf, or the only one six\n"
    "                 moving joints away)\n"
    "\n"
    "other options:\n"
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
    "                 and status (solved, singular, or out of the arm links' reach); for an\n"
    "                 arm handle every solution (at most 16), each with its singular flag\n"
    "  --nearest      ik: the solution nearest the reference, whole turns included (what\n"
    "                 ik of an arm handle answers without it too)\n"
    "  --limits FILE  ik --nearest, or ik of an arm handle without --all: joint limits, six\n"
    "                 lines of lower upper (inf allowed)\n"
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
    "residual on one line. For an arm handle it writes the code, the count of solutions\n"
    "and a group of singular (1 or 0), joints and residual per solution; csv keeps sixteen\n"
    "groups (result,count, then singularK,q1_K,...,q6_K,residualK for K = 0 ... 15), those\n"
    "past the count empty. json gives \"solutions\": a list of objects with singular\n"
    "(true or false), joints and residual.\n"
    "\n"
    "exit status: 0 done; 1 a library cannot be used; 2 bad input (in a batch: some line\n"
    "was malformed; also --mode or demo for an arm handle); 10 + the result code when ik\n"
    "found no solution (in a batch: the first such code): 12 shoulder, 13 elbow, 14 wrist\n"
    "singular, 15 invalid mode, 16 out of reach, 17 no solution (in the configuration,\n"
    "within the limits, or for the arm links; with --all: no candidate solved), 18 invalid\n"
    "joint limits; 21 (10 + 11) the arm handle's arm is degenerate (coincident axes), so\n"
    "ik has no answer for it, nothing is written on stdout (fkik arm prints its layout).\n";

// The built-in sample arm: a, alpha, d, theta per joint, in metres and radians.
const double kSampleArm[6][4] = {{0, 0, 0.1625, 0},        {0, -M_PI / 2, 0, 0},
                                 {0.425, 0, 0, 0},         {0.3922, M_PI, 0.1333, 0},
                                 {0, M_PI / 2, 0.0997, 0}, {0, M_PI / 2, 0.0996, 0}};

double parseNumber(const std::string& text, const std::string& what, bool allowInfinite = false) {
  double value;
  std::string error;
  if (!readNumber(text, what, allowInfinite, value, error)) fail(kBadInput, error);
  return value;
}

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

const char* const kToolNames[6] = {"X", "Y", "Z", "RX", "RY", "RZ"};
const char* const kSignNames[6] = {"S1", "S2", "S3", "S4", "S5", "S6"};

}  // namespace

[[noreturn]] void fail(ExitStatus status, const std::string& message) {
  std::fprintf(stderr, "fkik: %s\n", message.c_str());
  std::exit(status);
}

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
    } else if (arg == "--dh") {
      args.dhFile = takeWord(argc, argv, i);
    } else if (arg == "--arm-deg") {
      args.armDegrees = true;
    } else if (arg == "--signs") {
      takeSix(argc, argv, i, kSignNames, args.signs);
      for (int k = 0; k < 6; ++k) {
        if (std::fabs(args.signs[k]) != 1) {
          fail(kBadInput, "'" + std::string(argv[i - 5 + k]) + "' is not +1 or -1 (--signs " +
                              kSignNames[k] + ")");
        }
      }
      args.hasSigns = true;
    } else if (arg == "--urdf") {
      args.urdfFile = takeWord(argc, argv, i);
    } else if (arg == "--base") {
      args.baseLink = takeWord(argc, argv, i, "a link name");
    } else if (arg == "--tip") {
      args.tipLink = takeWord(argc, argv, i, "a link name");
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
      if (arg != "fk" && arg != "ik" && arg != "arm" && arg != "demo") {
        fail(kBadInput, "unknown command '" + arg + "' (expected fk, ik, arm or demo)");
      }
      args.command = arg;
    } else if (arg == "-" && args.values.empty() &&
               (args.command == "fk" || args.command == "ik")) {
      args.batch = true;
    } else {
      args.values.push_back(arg);
    }
  }
  if (args.command.empty()) fail(kBadInput, "no command given (expected fk, ik, arm or demo)");
  const bool batchable = args.command == "fk" || args.command == "ik";
  const size_t expected = !batchable || args.batch ? 0 : 6;
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
  // Without --nearest, --limits belongs to an arm with a handle only (see checkInverseOptions).
  if (!args.limitsFile.empty() && (!ik || args.hasMode || args.all)) {
    fail(kBadInput, "--limits belongs to ik --nearest");
  }
  const bool rows = !args.armFile.empty() || !args.dhFile.empty();
  if (!args.armFile.empty() + !args.dhFile.empty() + !args.urdfFile.empty() > 1) {
    fail(kBadInput, "--arm, --dh and --urdf exclude each other");
  }
  if (args.armDegrees && !rows) fail(kBadInput, "--arm-deg needs --arm FILE or --dh FILE");
  if (args.hasSigns && !rows) fail(kBadInput, "--signs needs --arm FILE or --dh FILE");
  if ((!args.baseLink.empty() || !args.tipLink.empty()) && args.urdfFile.empty()) {
    fail(kBadInput, "--base and --tip need --urdf FILE");
  }
  if (args.header && !args.batch) fail(kBadInput, "--header belongs to batches (fk -, ik -)");
  if (args.command == "demo" && (args.batch || args.format != Format::Text)) {
    fail(kBadInput, "demo takes no batch and writes text only");
  }
  if (args.command == "arm" && (args.batch || args.format == Format::Csv)) {
    fail(kBadInput, "arm takes no batch and writes text or json");
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

void readArmRows(const Arguments& args, double rows[6][4]) {
  const bool standard = !args.dhFile.empty();
  const std::string& file = standard ? args.dhFile : args.armFile;
  if (file.empty()) {
    std::memcpy(rows, kSampleArm, sizeof(kSampleArm));
    return;
  }
  readRows(file, standard ? "DH" : "arm", "a alpha d theta", 6, false, &rows[0][0]);
  if (args.armDegrees) {
    for (int j = 0; j < 6; ++j) {
      rows[j][1] *= M_PI / 180.0;
      rows[j][3] *= M_PI / 180.0;
    }
  }
}

}  // namespace fkik
