"""Forward and inverse position kinematics of 6-axis arms (libFk_Ik_so).

    >>> import fk_ik
    >>> robot = fk_ik.Robot(fk_ik.SAMPLE_ARM)
    >>> pose = robot.fk([0.3, -1.2, 1.5, -0.4, 1.1, 0.2])
    >>> code, q = robot.ik(pose, ref=[0.3, -1.2, 1.5, -0.4, 1.1, 0.2])

Robot's inverse is exact for arms of one chain form (check_arm_form 0) and refuses any
other with ValueError. fk_ik.Arm takes any six revolute joints, from DH rows of either
convention (Arm.from_dh) or from URDF (Arm.from_urdf): forward kinematics, the Jacobian
and its time derivative, the layout of its axes, an equivalent modified-DH description,
every inverse solution (Arm.ik_all) and the one nearest a reference within joint limits
(Arm.ik_nearest). Every arm is answered: in closed form where its layout decomposes, by
elimination otherwise (Arm.layout["solver"] says which); only a degenerate arm, whose axes
coincide, raises ValueError.

Units and frames: lengths are in the unit of the arm's parameters (the sample arm's are
metres), angles in radians. A pose [x, y, z, roll, pitch, yaw] is the tool centre point
(TCP) in the arm's base frame, its rotation Rz(yaw) Ry(pitch) Rx(roll) about the base's
fixed axes; a tool [x, y, z, rx, ry, rz] is the TCP relative to the flange. Joint
positions run from the base outwards.

Robot.fk_many, Robot.ik_many, Arm.fk_many, Arm.ik_all_many and Arm.ik_nearest_many take
n x 6 arrays and split them over worker
threads of this module without the GIL; each row's answer is bit for bit the single call's.

Input is checked before the library sees it: a wrong shape or a value that is not finite
(NaN, infinity) raises ValueError, a value that is not a number TypeError. The library
itself would accept non-finite values and return a failure code or non-finite joints;
the module refuses them so that they cannot pass unnoticed.

`python3 -m fk_ik.reach --help` draws a reachability map.
"""

from ._fk_ik import Arm, Code, Robot, check_arm_form

# The sample arm of the command-line host fkik: one row per joint from the base, a, alpha,
# d, theta, in metres and radians. The inverse solver's chain form (twists 0, -pi/2, 0, pi,
# pi/2, pi/2; only the upper arm and forearm lengths a[2], a[3] non-zero among the a).
SAMPLE_ARM = (
    (0.0, 0.0, 0.1625, 0.0),
    (0.0, -1.5707963267948966, 0.0, 0.0),
    (0.425, 0.0, 0.0, 0.0),
    (0.3922, 3.141592653589793, 0.1333, 0.0),
    (0.0, 1.5707963267948966, 0.0997, 0.0),
    (0.0, 1.5707963267948966, 0.0996, 0.0),
)

__all__ = ["Arm", "Code", "Robot", "SAMPLE_ARM", "check_arm_form"]
