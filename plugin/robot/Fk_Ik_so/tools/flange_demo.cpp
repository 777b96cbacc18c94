// Prints the flange frame of a sample 6-axis arm at a few joint positions.
#include <cstdio>
#include <vector>

#include "chain_mdh4.h"
#include "fk_solver_pos_tarvin2_6dof.h"

int main() {
  // a, alpha, d, theta per joint, in metres and radians.
  const double rows[6][4] = {{0, 0, 0.1625, 0},      {0, -Pi / 2, 0, 0},
                             {0.425, 0, 0, 0},       {0.3922, Pi, 0.1333, 0},
                             {0, Pi / 2, 0.0997, 0}, {0, Pi / 2, 0.0996, 0}};
  std::vector<MDH> records(6);
  for (int i = 0; i < 6; ++i) {
    records[i].a = rows[i][0];
    records[i].alpha = rows[i][1];
    records[i].d = rows[i][2];
    records[i].theta = rows[i][3];
  }
  Chain_MDH4 chain(6, &records);
  FkSolverPos_Tarvin2_6Dof solver(&chain);

  const double samples[3][6] = {
      {0, 0, 0, 0, 0, 0}, {0.1, -0.5, 1.0, 0.3, 0.7, -0.2}, {-1.2, 0.4, -0.8, 2.0, -0.6, 1.5}};
  for (const auto& sample : samples) {
    MathVector q(6);
    q = sample;
    KDL::Frame flange;
    solver.jntPosToFlangePos(q, flange);
    double roll, pitch, yaw;
    flange.M.GetRPY(roll, pitch, yaw);
    std::printf(
        "q = [%7.3f %7.3f %7.3f %7.3f %7.3f %7.3f]  ->  p = [%8.4f %8.4f %8.4f]  rpy = [%7.4f "
        "%7.4f %7.4f]\n",
        q(0), q(1), q(2), q(3), q(4), q(5), flange.p.x(), flange.p.y(), flange.p.z(), roll, pitch,
        yaw);
  }
  return 0;
}
