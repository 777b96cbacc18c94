/* A C host linked to libFk_Ik_so: the pose of the tool centre point for six joint
 * positions, and the joint positions found again from that pose.
 *
 * Build: cc -std=c99 c_host_linked.c $(pkg-config --cflags --libs fk_ik_so)
 * Run:   ./a.out [Q1 ... Q6]   (radians; default 0.5 -0.8 1.2 0.7 -0.9 1.0) */
#include <fk_ik_so/fk_ik_so.h>
#include <stdio.h>
#include <stdlib.h>

/* The arm: one row per joint from the base, modified DH parameters a, alpha, d, theta
 * (lengths in metres here, angles in radians). */
static const double arm[6][4] = {
    {0.0, 0.0, 0.1625, 0.0},
    {0.0, -1.5707963267948966, 0.0, 0.0},
    {0.425, 0.0, 0.0, 0.0},
    {0.3922, 3.141592653589793, 0.1333, 0.0},
    {0.0, 1.5707963267948966, 0.0997, 0.0},
    {0.0, 1.5707963267948966, 0.0996, 0.0},
};

int main(int argc, char** argv) {
  double joints[6] = {0.5, -0.8, 1.2, 0.7, -0.9, 1.0};
  const double tool[6] = {0, 0, 0, 0, 0, 0}; /* TCP at the flange: x y z rx ry rz */
  double pose[6], back[6];
  int i, code;
  for (i = 0; i < 6 && i + 1 < argc; ++i) joints[i] = strtod(argv[i + 1], NULL);

  init(arm); /* sets the process-wide model; call it before anything else */
  jntPosToTcpPos(joints, tool, pose);
  printf("pose %.17g %.17g %.17g %.17g %.17g %.17g\n", pose[0], pose[1], pose[2], pose[3], pose[4],
         pose[5]);

  /* The inverse keeps the configuration and the turns of the reference, here the joints
   * the pose came from; any code but 0 says why there is no answer (see fk_ik_so.h). */
  code = tcpPosToJntPos(pose, tool, joints, back);
  printf("inverse %d %.17g %.17g %.17g %.17g %.17g %.17g\n", code, back[0], back[1], back[2],
         back[3], back[4], back[5]);
  return code == 0 ? 0 : 1;
}
