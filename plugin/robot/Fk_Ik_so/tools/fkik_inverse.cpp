// fkik's inverse of an arm given by a handle (--dh, --signs, --urdf, or --arm rows outside
// the designed form): the solution nearest the reference within joint limits, or every
// solution with its singular flag, in closed form where the arm's layout allows and by
// elimination otherwise. Configuration modes and the demo belong to the designed solver
// only.
#include "fkik.h"

namespace fkik {

namespace {

const int kMostSolutions = 16;

// The columns of one solution in the csv and text rows of --all: its singular flag (0 or
// 1), its joints and its residual.
const int kSolutionColumns = 8;

}  // namespace

bool handleArm(const Library& library, const Arguments& args, const double rows[6][4]) {
  return args.anyArm() || (!args.armFile.empty() && library.checkArmForm(rows) != 0);
}

void checkInverseOptions(const Arguments& args, bool handle) {
  if (!handle) {
    if (!args.limitsFile.empty() && !args.nearest) {
      fail(kBadInput, "--limits belongs to ik --nearest");
    }
    return;
  }
  const std::string designed =
      " belong to the designed solver (the sample arm, or --arm rows of its form without "
      "--signs)";
  if (args.hasMode) {
    fail(kBadInput, "--mode: configuration modes" + designed +
                        "; this arm answers with the solution nearest --ref, or with --all");
  }
  if (args.command == "demo") {
    fail(kBadInput,
         "demo: the demo and its timings" + designed + "; fk and ik answer for this arm");
  }
}

void requireInverse(const Library& library) {
  // A degenerate arm has no inverse whatever the pose: its solver says so.
  char solver[64] = "";
  library.armInverseSolver(library.arm, solver, sizeof solver);
  if (std::string(solver) == "none") {
    fail(kNotCovered,
         "ik: no inverse: the arm is degenerate (coincident axes); fkik arm prints its "
         "layout");
  }
}

std::string everyColumns() {
  std::string columns = "result,count";
  for (int k = 0; k < kMostSolutions; ++k) {
    const std::string c = std::to_string(k);
    columns += ",singular" + c;
    for (int j = 1; j <= 6; ++j) columns += ",q" + std::to_string(j) + "_" + c;
    columns += ",residual" + c;
  }
  return columns;
}

int answerEvery(const Library& library, const Arguments& args, Output& out, const double pose[6],
                int line) {
  double q[kMostSolutions][6], residuals[kMostSolutions];
  Int32 singular[kMostSolutions], count = 0;
  const int code = library.armTcpPosToAllJntPos(library.arm, pose, args.tool, q, singular, &count);
  for (int k = 0; k < count; ++k) residuals[k] = residual(library, q[k], args.tool, pose);
  if (out.table()) {
    std::printf("result %d: %s\n", code, resultMeaning(code));
    std::printf("%-8s %-8s", "solution", "singular");
    for (const char* name : kJointColumns) std::printf(" %14s", name);
    std::printf(" %10s\n", "residual");
    for (int k = 0; k < count; ++k) {
      std::printf("%-8d %-8s", k, singular[k] ? "yes" : "no");
      for (int j = 0; j < 6; ++j) std::printf(" %14.9f", out.angles.out(q[k][j]));
      std::printf(" %10.1e\n", residuals[k]);
    }
    return code;
  }
  out.header();
  const bool json = out.format == Format::Json;
  if (json) {
    std::printf("{");
    if (out.batch) std::printf("\"line\": %d, ", line);
    std::printf("\"result\": %d, \"meaning\": \"%s\", \"solutions\": [", code, resultMeaning(code));
  } else {
    std::printf("%d%s%d", code, out.separator(), count);
  }
  for (int k = 0; k < count; ++k) {
    if (json) {
      std::printf("%s{\"singular\": %s, \"joints\": ", k > 0 ? ", " : "",
                  singular[k] ? "true" : "false");
      out.joints(q[k]);
      std::printf(", \"residual\": ");
      out.number(residuals[k]);
      std::printf("}");
    } else {
      std::printf("%s%d%s", out.separator(), singular[k] ? 1 : 0, out.separator());
      out.joints(q[k]);
      std::printf("%s", out.separator());
      out.number(residuals[k]);
    }
  }
  // csv keeps its header's columns: the groups past the count are empty.
  if (out.format == Format::Csv) {
    for (int k = count * kSolutionColumns; k < kMostSolutions * kSolutionColumns; ++k) {
      std::printf(",");
    }
  }
  std::printf(json ? "]}\n" : "\n");
  return code;
}

}  // namespace fkik
