// What fkik's sources share: exit statuses, the command line, reading numbers and files,
// the loaded library with the arm it computes for, and the output of answers.
#ifndef FK_IK_SO_TOOLS_FKIK_H
#define FK_IK_SO_TOOLS_FKIK_H

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "fk_ik_arm.h"
#include "fk_ik_so.h"

namespace fkik {

// kResultBase + a result code when ik found no solution; kNotCovered when an arm given by
// a handle is degenerate (coincident axes) and has no inverse.
enum ExitStatus {
  kDone = 0,
  kLibraryFailed = 1,
  kBadInput = 2,
  kResultBase = 10,
  kNotCovered = kResultBase + FK_IK_ARM_NOT_COVERED
};

// "fkik: MESSAGE" on stderr, then exit with status.
[[noreturn]] void fail(ExitStatus status, const std::string& message);

enum class Format { Text, Json, Csv };

// The names of the numbers of a request, for messages.
const char* const kJointNames[6] = {"Q1", "Q2", "Q3", "Q4", "Q5", "Q6"};
const char* const kPoseNames[6] = {"X", "Y", "Z", "ROLL", "PITCH", "YAW"};

// Angles come out in degrees with --deg; the library works in radians.
struct Angles {
  bool degrees;
  double out(double angle) const { return degrees ? angle * 180.0 / M_PI : angle; }
  const char* unit() const { return degrees ? "deg" : "rad"; }
};

// The command line, every angle converted to radians.
struct Arguments {
  std::string command;
  std::vector<std::string> values;         // the numbers after the command, as typed
  double numbers[6] = {0, 0, 0, 0, 0, 0};  // the same, read: joints (fk) or pose (ik)
  double tool[6] = {0, 0, 0, 0, 0, 0};
  bool hasRef = false;
  double ref[6] = {0, 0, 0, 0, 0, 0};
  std::string armFile;  // modified rows
  std::string dhFile;   // standard rows
  bool armDegrees = false;
  bool hasSigns = false;
  double signs[6] = {1, 1, 1, 1, 1, 1};
  std::string urdfFile;
  std::string baseLink;  // empty: the URDF reader's default
  std::string tipLink;
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

  // Options that only a handle describes (standard rows, joint senses, a URDF file); --arm
  // rows outside the designed form take a handle too (see handleArm).
  bool anyArm() const { return !dhFile.empty() || hasSigns || !urdfFile.empty(); }
};

Arguments parseArguments(int argc, char** argv);

// The whole of text as a number into value, finite unless infinities are allowed; else
// the reason it is not, naming what it was for.
bool readNumber(const std::string& text, const std::string& what, bool allowInfinite, double& value,
                std::string& error);

// The words of a line: '#' starts a comment, commas count as spaces.
std::vector<std::string> splitWords(std::string text);

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

// Rows of numbers from a file: exactly `count` rows of as many values as `names` has
// words, '#' comments and blank lines skipped, commas taken as spaces. kind names the
// file in messages ("arm", "limits").
void readRows(const std::string& file, const char* kind, const std::string& names, int count,
              bool allowInfinite, double* out);

// The rows of --arm or --dh, alpha and theta in radians; else the built-in sample arm's.
void readArmRows(const Arguments& args, double rows[6][4]);

// text quoted for json (escaped) or csv (quotes doubled).
std::string quoted(const std::string& text, bool json);

// The library's functions, found with dlsym.
struct Library {
  decltype(&::init) init;
  decltype(&::jntPosToTcpPos) jntPosToTcpPos;
  decltype(&::tcpPosToJntPos) tcpPosToJntPos;
  decltype(&::tcpPosToJntPosInMode) tcpPosToJntPosInMode;
  decltype(&::tcpPosToAllJntPos) tcpPosToAllJntPos;
  decltype(&::tcpPosToNearestJntPos) tcpPosToNearestJntPos;
  decltype(&::checkArmForm) checkArmForm;
  decltype(&::armCreateFromRows) armCreateFromRows;
  decltype(&::armJntPosToTcpPos) armJntPosToTcpPos;
  decltype(&::armTcpPosToAllJntPos) armTcpPosToAllJntPos;
  decltype(&::armTcpPosToNearestJntPos) armTcpPosToNearestJntPos;
  decltype(&::armLayout) armLayout;
  decltype(&::armInverseSolver) armInverseSolver;
  decltype(&::armMdh) armMdh;
  decltype(&::armDestroy) armDestroy;
  // Where this program lies, with a trailing slash: the URDF reader is looked for from it.
  std::string programDirectory;
  // The arm forward() and nearest() compute for; null for the designed functions on
  // init's rows.
  const FkIkArm* arm = nullptr;

  void forward(const double q[6], const double tool[6], double pose[6]) const {
    if (arm != nullptr) {
      armJntPosToTcpPos(arm, q, tool, pose);
    } else {
      jntPosToTcpPos(q, tool, pose);
    }
  }
  // The solution nearest ref within [lower, upper] (null: the arm's own limits, none for
  // the designed functions). Returns the result code.
  int nearest(const double pose[6], const double tool[6], const double ref[6], const double* lower,
              const double* upper, double q[6]) const {
    return arm != nullptr ? armTcpPosToNearestJntPos(arm, pose, tool, ref, lower, upper, q)
                          : tcpPosToNearestJntPos(pose, tool, ref, lower, upper, q);
  }
};

// The library given with --lib, else the one found by its SONAME (see fkik_arm.cpp).
Library openLibrary(const Arguments& args, const char* argv0);

// A handle of the arm the options give: rows are those of readArmRows. The caller frees it
// with armDestroy.
FkIkArm* createArm(const Library& library, const Arguments& args, const double rows[6][4]);

// The arm command: the arm's layout, the solver of its inverse and its equivalent modified
// description.
int runArm(const Library& library, const Arguments& args, const double rows[6][4]);

const char* const kJointColumns[6] = {"q1", "q2", "q3", "q4", "q5", "q6"};

// What a result code means.
const char* resultMeaning(int code);

// A text table's row of names under label.
void printHeader(const char* label, const char* const names[6]);

// The distance of the pose joints q reach with tool from target (see fkik.cpp).
double residual(const Library& library, const double q[6], const double tool[6],
                const double target[6]);

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
    const bool json = format == Format::Json;
    std::printf(json ? "{\"line\": %d, \"error\": %s}\n" : "error,%d,%s\n", line,
                quoted(message, json).c_str());
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
      if (k > 0) std::fputs(format == Format::Json ? ", " : separator(), stdout);
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

// Whether the arm takes a handle: the options say so (Arguments::anyArm), or --arm rows
// are outside the designed form. Then ik answers through the handle's inverses.
bool handleArm(const Library& library, const Arguments& args, const double rows[6][4]);

// Refuses what only the designed solver does (--mode, demo) for an arm with a handle, and
// --limits without --nearest for the designed arm.
void checkInverseOptions(const Arguments& args, bool handle);

// Exits with kNotCovered, before any output, when library.arm is degenerate (no inverse).
void requireInverse(const Library& library);

// The csv columns of ik --all for an arm with a handle.
std::string everyColumns();

// Every solution of one request through the handle, in out's format. Returns the code.
int answerEvery(const Library& library, const Arguments& args, Output& out, const double pose[6],
                int line);

}  // namespace fkik

#endif  // FK_IK_SO_TOOLS_FKIK_H
