// What fkik's sources share: exit statuses, the command line, reading numbers and files,
// and the loaded library with the arm its forward kinematics computes for.
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

enum ExitStatus { kDone = 0, kLibraryFailed = 1, kBadInput = 2, kResultBase = 10 };

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

  // An arm that only a handle describes (standard rows, joint senses, a URDF file): fk
  // reaches it through the handle, and the designed inverse has nothing to solve it with.
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
  decltype(&::armLayout) armLayout;
  decltype(&::armMdh) armMdh;
  decltype(&::armDestroy) armDestroy;
  // Where this program lies, with a trailing slash: the URDF reader is looked for from it.
  std::string programDirectory;
  // The arm forward() computes for; null for the designed functions on init's rows.
  const FkIkArm* arm = nullptr;

  void forward(const double q[6], const double tool[6], double pose[6]) const {
    if (arm != nullptr) {
      armJntPosToTcpPos(arm, q, tool, pose);
    } else {
      jntPosToTcpPos(q, tool, pose);
    }
  }
};

// The library given with --lib, else the one found by its SONAME (see fkik_arm.cpp).
Library openLibrary(const Arguments& args, const char* argv0);

// A handle of the arm the options give: rows are those of readArmRows. The caller frees it
// with armDestroy.
FkIkArm* createArm(const Library& library, const Arguments& args, const double rows[6][4]);

// The arm command: the arm's layout and its equivalent modified description.
int runArm(const Library& library, const Arguments& args, const double rows[6][4]);

}  // namespace fkik

#endif  // FK_IK_SO_TOOLS_FKIK_H
