/* A C host that reads its arm from a URDF file through libFk_Ik_so_urdf: the pose of the
 * flange at six joint positions.
 *
 * Build: cc -std=c99 c_urdf_host.c $(pkg-config --cflags --libs fk_ik_so_urdf)
 * Run:   ./a.out ARM.urdf [Q1 ... Q6]   (radians; default all 0) */
#include <fk_ik_so/fk_ik_urdf.h>
#include <stdio.h>
#include <stdlib.h>

int main(int argc, char** argv) {
  double joints[6] = {0, 0, 0, 0, 0, 0};
  const double tool[6] = {0, 0, 0, 0, 0, 0}; /* TCP at the flange: x y z rx ry rz */
  double pose[6];
  char message[512];
  FkIkArm* arm;
  int i, code;
  if (argc < 2) {
    fprintf(stderr, "usage: %s ARM.urdf [Q1 ... Q6]\n", argv[0]);
    return 2;
  }
  for (i = 0; i < 6 && i + 2 < argc; ++i) joints[i] = strtod(argv[i + 2], NULL);

  /* Null link names: the chain from the model's root (past a fixed joint from a "world"
   * link) to its only tip; name them when the model has several. */
  code = armCreateFromUrdfFile(argv[1], NULL, NULL, &arm, message, sizeof message);
  if (code != 0) {
    fprintf(stderr, "%s: code %d: %s\n", argv[1], code, message);
    return 1;
  }
  armJntPosToTcpPos(arm, joints, tool, pose);
  printf("pose %.17g %.17g %.17g %.17g %.17g %.17g\n", pose[0], pose[1], pose[2], pose[3], pose[4],
         pose[5]);
  armDestroy(arm);
  return 0;
}
