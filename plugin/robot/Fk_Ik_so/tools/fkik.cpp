// fkik: command-line host of libFk_Ik_so. It loads the library with dlopen and calls
// its C functions, as a host process does: forward (fk) and inverse kinematics (ik: the
// single answer, one in a chosen mode, all eight candidates or the nearest one; for other
// arms see fkik_inverse.cpp) of any arm of six revolute joints, one request or a batch of
// them, an arm's layout (arm, see fkik_arm.cpp), and a demo of both directions.
#include "fkik.h"

#include <chrono>
#include <cstring>

namespace fkik {

// csv doubles a quote; json escapes it, the backslash and control characters.
std::string quoted(const std::string& text, bool json) {
  std::string out = "\"";
  for (const char c : text) {
    if (c == '"') {
      out += json ? "\\\"" : "\"\"";
    } else if (json && c == '\\') {
      out += "\\\\";
    } else if (json && static_cast<unsigned char>(c) < 0x20) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
      out += escaped;
    } else {
      out += c;
    }
  }
  return out + "\"";
}

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
    case FK_IK_ARM_NOT_COVERED:
      return "no inverse: the arm is degenerate (coincident axes)";
    default:
      return "unknown result code";
  }
}

void printHeader(const char* label, const char* const names[6]) {
  std::printf("%-12s", label);
  for (int k = 0; k < 6; ++k) std::printf(" %14s", names[k]);
  std::printf("\n");
}

namespace {

// Status of one of the eight candidates.
const char* statusMeaning(int status) {
  return status == 7 ? "out of the links' reach" : resultMeaning(status);
}

void printRow(const char* label, const double values[6]) {
  std::printf("%-12s", label);
  for (int k = 0; k < 6; ++k) std::printf(" %14.9f", values[k]);
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

}  // namespace

// The residual of joints q for the target pose: the distance of the pose they reach from
// the target, origins plus the angle between the orientations, 2 asin(|A - B| / sqrt(8))
// with the Frobenius norm, exact for small angles as well.
double residual(const Library& library, const double q[6], const double tool[6],
                const double target[6]) {
  double reached[6], a[3][3], b[3][3], origins = 0.0, rotations = 0.0;
  library.forward(q, tool, reached);
  rpyMatrix(reached + 3, a);
  rpyMatrix(target + 3, b);
  for (int i = 0; i < 3; ++i) {
    origins += (reached[i] - target[i]) * (reached[i] - target[i]);
    for (int j = 0; j < 3; ++j) rotations += (a[i][j] - b[i][j]) * (a[i][j] - b[i][j]);
  }
  return std::sqrt(origins) + 2 * std::asin(std::fmin(1.0, std::sqrt(rotations / 8)));
}

namespace {

// The names of the csv columns of the command's answers.
std::string csvColumns(const Arguments& args, bool handle) {
  if (args.command == "fk") return "x,y,z,roll,pitch,yaw";
  if (!args.all) return "result,q1,q2,q3,q4,q5,q6,residual";
  if (handle) return everyColumns();
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
  library.forward(q, args.tool, pose);
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

// The inverse of one request, as the options ask; an arm with a handle answers with the
// solution nearest the reference. Returns its result code.
int answerIk(const Library& library, const Arguments& args, Output& out, const double pose[6],
             const double ref[6], const double* lower, const double* upper, int line) {
  if (args.all && library.arm) return answerEvery(library, args, out, pose, line);
  if (args.all) return answerAll(library, args, out, pose, ref, line);
  double q[6];
  const int code = args.nearest || library.arm
                       ? library.nearest(pose, args.tool, ref, lower, upper, q)
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

}  // namespace fkik

int main(int argc, char** argv) {
  using namespace fkik;
  const Arguments args = parseArguments(argc, argv);
  const Angles angles{args.degrees};

  double arm[6][4];
  readArmRows(args, arm);
  Library library = openLibrary(args, argv[0]);
  if (args.command == "arm") return runArm(library, args, arm);
  const bool handleArmed = handleArm(library, args, arm);
  checkInverseOptions(args, handleArmed);
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
  // The arm's handle lives as long as the library, freed when main returns.
  struct ArmHandle {
    FkIkArm* arm;
    decltype(&::armDestroy) destroy;
    ~ArmHandle() { destroy(arm); }
  } handle{handleArmed ? createArm(library, args, arm) : nullptr, library.armDestroy};
  library.arm = handle.arm;
  if (!handle.arm) library.init(arm);
  if (handle.arm && args.command == "ik") requireInverse(library);

  if (args.command == "demo") return runDemo(library, args, angles, arm);
  Output out{args.format, args.batch, angles, csvColumns(args, handleArmed)};
  const double* low = args.limitsFile.empty() ? nullptr : lower;
  const double* high = args.limitsFile.empty() ? nullptr : upper;
  if (args.batch) return runBatch(library, args, out, low, high);
  if (args.command == "fk") return answerFk(library, args, out, args.numbers, 0);
  const int code = answerIk(library, args, out, args.numbers, args.ref, low, high, 0);
  return exitStatus(code);
}
