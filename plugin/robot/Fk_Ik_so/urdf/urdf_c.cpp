// The C functions of fk_ik_urdf.h over the C++ reader: the arms go to the main library's
// handles.
#include <exception>

#include "arm_handle.h"
#include "arm_urdf.h"
#include "fk_ik_urdf.h"

namespace {

typedef Int32 (*Reader)(const std::string&, const std::string&, const std::string&, fk_ik::Arm&,
                        std::string*);

// A C++ exception (out of memory) must not cross into C: it becomes a refusal.
Int32 create(Reader read, const char* source, const char* what, const char* baseLink,
             const char* tipLink, FkIkArm** arm, char* message, UInt32 messageSize) {
  *arm = nullptr;
  std::string why;
  Int32 code = fk_ik::Arm_Invalid;
  try {
    fk_ik::Arm built;
    if (!source) {
      why = std::string("no ") + what + " (null)";
    } else {
      code = read(source, baseLink ? baseLink : "", tipLink ? tipLink : "", built, &why);
    }
    if (code == fk_ik::Arm_Ok) {
      *arm = fk_ik::newArmHandle(built);
      if (!*arm) code = fk_ik::Arm_Invalid, why = "out of memory";
    }
  } catch (const std::exception& e) {
    code = fk_ik::Arm_Invalid;
    why = e.what();
  }
  if (code != fk_ik::Arm_Ok) fk_ik::copyMessage(why, message, messageSize);
  return code;
}

}  // namespace

extern "C" {

Int32 armCreateFromUrdf(const char* xml, const char* baseLink, const char* tipLink, FkIkArm** arm,
                        char* message, UInt32 messageSize) {
  return create(fk_ik::armFromUrdf, xml, "URDF text", baseLink, tipLink, arm, message, messageSize);
}

Int32 armCreateFromUrdfFile(const char* path, const char* baseLink, const char* tipLink,
                            FkIkArm** arm, char* message, UInt32 messageSize) {
  return create(fk_ik::armFromUrdfFile, path, "file path", baseLink, tipLink, arm, message,
                messageSize);
}

}  // extern "C"
