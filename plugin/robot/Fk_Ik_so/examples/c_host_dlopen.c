/* A C host that loads libFk_Ik_so at run time, as a plug-in host does: it includes the
 * header for the functions' types only and is not linked to the library.
 *
 * Build: cc -std=c99 -I<prefix>/include c_host_dlopen.c -ldl
 * Run:   ./a.out [LIBRARY [Q1 ... Q6]]   (default libFk_Ik_so.so.1 on the library path) */
#include <dlfcn.h>
#include <fk_ik_so/fk_ik_so.h>
#include <stdio.h>
#include <stdlib.h>

static const double arm[6][4] = {
    {0.0, 0.0, 0.1625, 0.0},
    {0.0, -1.5707963267948966, 0.0, 0.0},
    {0.425, 0.0, 0.0, 0.0},
    {0.3922, 3.141592653589793, 0.1333, 0.0},
    {0.0, 1.5707963267948966, 0.0997, 0.0},
    {0.0, 1.5707963267948966, 0.0996, 0.0},
};

int main(int argc, char** argv) {
  const char* file = argc > 1 ? argv[1] : "libFk_Ik_so.so.1";
  double joints[6] = {0.5, -0.8, 1.2, 0.7, -0.9, 1.0};
  const double tool[6] = {0, 0, 0, 0, 0, 0};
  double pose[6];
  int i;
  /* RTLD_LOCAL: the library's names stay out of the host's global scope. */
  void* library = dlopen(file, RTLD_NOW | RTLD_LOCAL);
  Void (*initArm)(const Float64[6][4]);
  Int32 (*forward)(const Float64*, const Float64*, Float64*);
  if (library == NULL) {
    fprintf(stderr, "cannot load %s: %s\n", file, dlerror());
    return 1;
  }
  /* ISO C has no conversion from void* to a function pointer: copy the address bytes, as
   * POSIX allows for dlsym's result. */
  *(void**)&initArm = dlsym(library, "init");
  *(void**)&forward = dlsym(library, "jntPosToTcpPos");
  if (initArm == NULL || forward == NULL) {
    fprintf(stderr, "%s lacks the library's functions\n", file);
    return 1;
  }
  for (i = 0; i < 6 && i + 2 < argc; ++i) joints[i] = strtod(argv[i + 2], NULL);

  initArm(arm);
  if (forward(joints, tool, pose) != 0) return 1; /* 1 would mean: no model */
  printf("pose %.17g %.17g %.17g %.17g %.17g %.17g\n", pose[0], pose[1], pose[2], pose[3], pose[4],
         pose[5]);
  return 0;
}
