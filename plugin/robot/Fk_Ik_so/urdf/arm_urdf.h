// Arms read from URDF, the XML robot description format, through Debian's URDF parser
// (urdfdom). This is libFk_Ik_so_urdf, a library of its own: the main library reads no
// files and needs no XML parser.
//
// The chain runs from a base link down the tree to a tip link. Defaults (an empty name):
// the base is the model's root link, or, when the root is named "world" and has exactly
// one child joint, a fixed one, that joint's child link; the tip is the only leaf below
// the base, or, when there are several, the only one whose path holds exactly six moving
// joints (if none or more than one does, name the tip).
//
// Revolute and continuous joints are the moving joints; the chain must hold exactly six,
// and fixed joints besides. Each moving joint's origin (xyz, then fixed-axis
// roll-pitch-yaw), in the frame of the link before it, places its joint frame; its axis
// (1 0 0 where the file gives none) is the direction in that frame the joint turns about.
// Fixed joints fold into the frames: those before joint 1 into joint 1's, those between
// two moving joints into the later one's, those after joint 6 up to the tip into the
// flange. The description's base frame is the base link's own (the identity), and its
// lengths are the file's (metres, in URDF). Revolute joints carry their <limit> lower and
// upper; continuous joints have none (infinite limits).
//
// Each function returns Arm_Ok, Arm_Invalid (9) when the text or the chain is refused
// (the message names the joint or link and why, or gives the parser's own report), or
// Arm_Unreadable (10) when the file cannot be read (the message gives the path and the
// system's reason). The parser's reports are collected into the message, never printed.
// Parsing takes a process-wide lock, the parser's report handler being process-wide too.
#ifndef FK_IK_SO_URDF_ARM_URDF_H
#define FK_IK_SO_URDF_ARM_URDF_H

#include <string>

#include "arm.h"

namespace fk_ik {

// The description of the chain in URDF text (see above).
FK_IK_SO_API Int32 armDescriptionFromUrdf(const std::string& xml, const std::string& baseLink,
                                          const std::string& tipLink, ArmDescription& description,
                                          std::string* message);
// The same from a file.
FK_IK_SO_API Int32 armDescriptionFromUrdfFile(const std::string& path, const std::string& baseLink,
                                              const std::string& tipLink,
                                              ArmDescription& description, std::string* message);

// The arm built from that description (Arm::build).
FK_IK_SO_API Int32 armFromUrdf(const std::string& xml, const std::string& baseLink,
                               const std::string& tipLink, Arm& arm, std::string* message);
FK_IK_SO_API Int32 armFromUrdfFile(const std::string& path, const std::string& baseLink,
                                   const std::string& tipLink, Arm& arm, std::string* message);

}  // namespace fk_ik

#endif  // FK_IK_SO_URDF_ARM_URDF_H
