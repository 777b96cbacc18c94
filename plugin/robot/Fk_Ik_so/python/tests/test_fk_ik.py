"""fk_ik.Robot against the C functions and itself one call at a time (its Jacobians, refusals
and reach map are checked in test_arm.py and test_reach_counts.py)."""
import ctypes
import math
import os

import numpy as np
import pytest

from fk_ik import Code, Robot, SAMPLE_ARM, check_arm_form
from test_arm import Q0, ROBOT, TOOL, same

# The sample arm with offsets in every d and theta; families: name -> (joints drawn near zero, scale).
OFFSET_ARM = np.array(SAMPLE_ARM) + np.c_[np.zeros((6, 2)), 0.01 * np.arange(6), 0.1 - 0.2 * np.arange(6)]
FAMILIES = {"generic": ([], 1), "beyond_pi": ([], 3), "near_wrist_singular": ([4], 1), "stretched_elbow": ([2], 1)}


def family(name, n=600, seed=14):
    """Joint positions of a named family, and references: half near them, half anywhere."""
    rng, (near_zero, scale) = np.random.default_rng(seed), FAMILIES[name]
    q = rng.uniform(-math.pi, math.pi, (n, 6)) * scale
    q[:, near_zero] = rng.uniform(-0.03, 0.03, (n, len(near_zero)))
    return q, np.r_[q[:n // 2] + rng.normal(0, 0.1, (n // 2, 6)), rng.uniform(-math.pi, math.pi, (n - n // 2, 6))]


@pytest.mark.parametrize("name", FAMILIES)
def test_single_calls_equal_the_c_functions_bit_for_bit(name):
    lib, six, int8, codes = ctypes.CDLL(os.environ["FK_IK_LIBRARY"]), ctypes.c_double * 6, ctypes.c_int32 * 8, set()
    lib.init((ctypes.c_double * 24)(*np.ravel(OFFSET_ARM)))
    robot, (q, refs) = Robot(OFFSET_ARM), family(name)
    for k, (joints, ref) in enumerate(zip(q, refs)):
        pose, out, tool, r, every, modes, statuses = six(), six(), six(*TOOL), six(*ref), (six * 8)(), int8(), int8()
        assert lib.jntPosToTcpPos(six(*joints), tool, pose) == 0
        assert robot.fk(joints, TOOL).tobytes() == np.array(pose).tobytes()
        codes.add(code := lib.tcpPosToJntPos(pose, tool, r, out))
        assert same(robot.ik(pose, ref, TOOL), code, out)
        mode = k % 10 - 1  # -1 ... 8: the reference's, every mode, and an invalid one
        assert same(robot.ik(pose, ref, TOOL, mode=mode), lib.tcpPosToJntPosInMode(pose, tool, r, mode, out), out)
        code = lib.tcpPosToAllJntPos(pose, tool, r, every, modes, statuses)
        assert same(robot.ik_all(pose, ref, TOOL), code, every, modes, statuses)
        low, high = ref - (k % 4), ref + (k % 3)  # some limits crossed, some too narrow
        code = lib.tcpPosToNearestJntPos(pose, tool, r, six(*low), six(*high), out)
        assert same(robot.ik_nearest(pose, ref, TOOL, low, high), code, out)
        assert same(robot.ik_nearest(pose, ref, TOOL), lib.tcpPosToNearestJntPos(pose, tool, r, None, None, out), out)
    assert Code.SOLVED in codes and len(codes) > 1
    for arm in [np.array(SAMPLE_ARM) + 0.5 * (np.arange(24).reshape(6, 4) == n) for n in (0, 13, 23)]:
        assert check_arm_form(arm) == lib.checkArmForm((ctypes.c_double * 24)(*arm.ravel()))


@pytest.mark.parametrize("threads", [1, 2, 3, 7])
def test_batches_equal_single_calls_for_every_thread_count(threads):
    q, refs = family("generic", n=2000, seed=threads)
    poses = ROBOT.fk_many(q, TOOL, threads=threads)
    assert poses.tobytes() == np.array([ROBOT.fk(p, TOOL) for p in q]).tobytes()
    for ref, mode in [(refs, None), (refs[0], None), (refs, threads)]:
        codes, joints = ROBOT.ik_many(poses, ref, TOOL, mode, threads=threads)
        one = [ROBOT.ik(p, r, TOOL, mode) for p, r in zip(poses, np.broadcast_to(ref, q.shape))]
        assert (codes.tolist(), joints.tobytes()) == ([c for c, _ in one], np.array([o for _, o in one]).tobytes())
    assert ROBOT.fk_many(np.empty((0, 6)), threads=threads).shape == (0, 6)


def test_failure_codes_by_name():
    for pose, ref, expected in [
            ([0.0, 0.0, 0.5, math.pi, 0.0, 0.0], Q0, Code.OUT_OF_REACH),  # wrist centre on joint 1's axis
            ([3.0, 0.0, 0.5, math.pi, 0.0, 0.0], Q0, Code.NO_SOLUTION),  # beyond the arm's reach
            (ROBOT.fk(Q0), [0.3, -1.2, 0.0, -0.4, 1.1, 0.2], Code.ELBOW_SINGULAR),  # reference stretched
            (ROBOT.fk([0.3, -1.2, 1.5, -0.4, 0.005, 0.2]), [0.3, -1.2, 1.5, -0.4, 0.005, 0.2], Code.WRIST_SINGULAR)]:
        assert (answer := ROBOT.ik(pose, ref))[0] is expected and not answer[1].any()
