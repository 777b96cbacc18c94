// The class interface: a Robot for the pose of the tool centre point (TCP) and its
// inverse, and the forward solver for the TCP's velocity Jacobian, checked here against a
// central difference of the pose.
//
// Build: with CMake, find_package(Fk_Ik_so 1.1 REQUIRED) and link Fk_Ik_so::Fk_Ik_so.
// Run:   ./robot_jacobian [Q1 ... Q6]   (radians; default 0.5 -0.8 1.2 0.7 -0.9 1.0)
#include <fk_ik_so/fk_solver_pos_tarvin2_6dof.h>
#include <fk_ik_so/robot.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

int main(int argc, char** argv) {
  // Modified DH rows a, alpha, d, theta from the base (metres, radians).
  const double rows[6][4] = {{0, 0, 0.1625, 0},        {0, -M_PI / 2, 0, 0},
                             {0.425, 0, 0, 0},         {0.3922, M_PI, 0.1333, 0},
                             {0, M_PI / 2, 0.0997, 0}, {0, M_PI / 2, 0.0996, 0}};
  std::vector<MDH> arm(6);
  for (int i = 0; i < 6; ++i) {
    arm[i].a = rows[i][0];
    arm[i].alpha = rows[i][1];
    arm[i].d = rows[i][2];
    arm[i].theta = rows[i][3];
  }
  const double defaults[6] = {0.5, -0.8, 1.2, 0.7, -0.9, 1.0};
  MathVector q(6);
  for (UInt32 i = 0; i < 6; ++i) q(i) = i + 1 < UInt32(argc) ? std::atof(argv[i + 1]) : defaults[i];
  Tool tool{0, 0, 0, 0, 0, 0};  // the TCP at the flange

  // Forward and back: the inverse keeps the configuration and turns of the reference q.
  Robot robot(arm);
  MathVector pose(6), back(6);
  robot.jntPosToTcpPos(q, tool, pose);
  std::printf("pose");
  for (UInt32 i = 0; i < 6; ++i) std::printf(" %.17g", pose(i));
  const Int32 code = robot.tcpPosToJntPos(pose, tool, q, back);
  std::printf("\ninverse %d", code);
  for (UInt32 i = 0; i < 6; ++i) std::printf(" %.17g", back(i));
  std::printf("\n");

  // The Jacobian comes from the forward solver on the arm's chain: rows are the TCP's
  // linear (x, y, z) and angular velocity in the base frame, one column per joint.
  Chain_MDH4 chain(6, &arm);
  FkSolverPos_Tarvin2_6Dof solver(&chain);
  Jacobian jacobian(6, 6);
  solver.jntPosToJacobians(q, tool, jacobian);
  // Its linear rows are the derivative of the TCP's position: compare column by column.
  double worst = 0.0;
  const double h = 1e-6;
  for (UInt32 j = 0; j < 6; ++j) {
    MathVector plus(q), minus(q), pPlus(6), pMinus(6);
    plus(j) += h;
    minus(j) -= h;
    robot.jntPosToTcpPos(plus, tool, pPlus);
    robot.jntPosToTcpPos(minus, tool, pMinus);
    for (UInt32 i = 0; i < 3; ++i) {
      worst = std::fmax(worst, std::fabs((pPlus(i) - pMinus(i)) / (2 * h) - jacobian(i, j)));
    }
  }
  std::printf("jacobian");
  for (UInt32 i = 0; i < 6; ++i) {
    for (UInt32 j = 0; j < 6; ++j) std::printf(" %.6f", jacobian(i, j));
  }
  std::printf("\nlinear rows against central differences: %.1e\n", worst);
  return code == 0 && worst < 1e-8 ? 0 : 1;
}
