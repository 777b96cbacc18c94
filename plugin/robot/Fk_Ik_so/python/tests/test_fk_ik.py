"""fk_ik against the C functions, itself one call at a time, central differences, bad input."""
import ctypes
import math
import os

import matplotlib.image
import numpy as np
import pytest

from fk_ik import Code, Robot, SAMPLE_ARM, check_arm_form, reach

ROBOT, TOOL, Q0 = Robot(SAMPLE_ARM), np.array([0.01, -0.02, 0.05, 0.1, -0.2, 0.3]), [0.3, -1.2, 1.5, -0.4, 1.1, 0.2]
# The sample arm with offsets in every d and theta; families: name -> (joints drawn near zero, scale).
OFFSET_ARM = np.array(SAMPLE_ARM) + np.c_[np.zeros((6, 2)), 0.01 * np.arange(6), 0.1 - 0.2 * np.arange(6)]
FAMILIES = {"generic": ([], 1), "beyond_pi": ([], 3), "near_wrist_singular": ([4], 1), "stretched_elbow": ([2], 1)}


def family(name, n=600, seed=14):
    """Joint positions of a named family, and references: half near them, half anywhere."""
    rng, (near_zero, scale) = np.random.default_rng(seed), FAMILIES[name]
    q = rng.uniform(-math.pi, math.pi, (n, 6)) * scale
    q[:, near_zero] = rng.uniform(-0.03, 0.03, (n, len(near_zero)))
    return q, np.r_[q[:n // 2] + rng.normal(0, 0.1, (n // 2, 6)), rng.uniform(-math.pi, math.pi, (n - n // 2, 6))]


def same(answer, code, *arrays):
    return answer[0] == code and all(np.asarray(a).tobytes() == np.asarray(w, np.asarray(a).dtype).tobytes()
                                     for a, w in zip(answer[1:], arrays))


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


def rotation(rpy):
    (cr, cp, cy), (sr, sp, sy) = np.cos(rpy), np.sin(rpy)
    return np.array([[cy * cp, cy * sp * sr - sy * cr, cy * sp * cr + sy * sr],
                     [sy * cp, sy * sp * sr + cy * cr, sy * sp * cr - cy * sr], [-sp, cp * sr, cp * cr]])


@pytest.mark.parametrize("name", FAMILIES)
def test_jacobians_against_central_differences(name):
    h, (q, qd) = 1e-6, family(name, n=20)
    for x, v in zip(q, qd):  # joints and joint velocities
        jac, at = ROBOT.jacobian(x, TOOL), rotation(ROBOT.fk(x, TOOL)[3:])
        plus, minus = ROBOT.fk_many(x + h * np.eye(6), TOOL), ROBOT.fk_many(x - h * np.eye(6), TOOL)
        for i, (p, m) in enumerate(zip(plus, minus)):
            spin = (rotation(p[3:]) - rotation(m[3:])) / (2 * h) @ at.T
            assert np.abs(jac[:, i] - np.r_[(p[:3] - m[:3]) / (2 * h), spin[2, 1], spin[0, 2], spin[1, 0]]).max() < 1e-7
        assert (again := ROBOT.jacobian_dot(x, v, TOOL))[0].tobytes() == jac.tobytes()
        ahead, behind = ROBOT.jacobian(x + h * v, TOOL), ROBOT.jacobian(x - h * v, TOOL)
        assert np.abs(again[1][3:] - (ahead[3:] - behind[3:]) / (2 * h)).max() < 1e-6  # the angular rows


@pytest.mark.parametrize("call, error, message", [
    (lambda: Robot(np.zeros((5, 4))), ValueError, "mdh must have shape"),
    (lambda: Robot(np.full((6, 4), np.nan)), ValueError, "mdh must be finite"),
    (lambda: ROBOT.fk([1, 2, 3]), ValueError, r"q must have shape \(6,\), got \(3,\)"),
    (lambda: ROBOT.fk([[1, 2], [3]]), ValueError, "q must have shape"),
    (lambda: ROBOT.fk(["0"] * 6), TypeError, "q must hold numbers"),
    (lambda: ROBOT.fk(None), TypeError, "q must be an array"),
    (lambda: ROBOT.fk(Q0, tool=[math.inf] * 6), ValueError, "tool must be finite"),
    (lambda: ROBOT.fk_many(np.zeros((300, 6)), threads=0), ValueError, "threads must be None or at least 1"),
    (lambda: ROBOT.ik_many(np.zeros((300, 6)), np.zeros((3, 6))), ValueError, r"ref must have shape \(6,\) or \(300"),
    (lambda: ROBOT.ik(Q0, Q0, mode=1.0), TypeError, "mode must be an int"),
    (lambda: ROBOT.ik_many(np.zeros((300, 6)), Q0, mode=2**31), ValueError, "mode must be a 32-bit int"),
    (lambda: ROBOT.ik_nearest(Q0, Q0, lower=[math.nan] * 6), ValueError, "lower must be free of NaN")])
def test_bad_input_raises_and_the_interpreter_lives_on(call, error, message):
    with pytest.raises(error, match=message):
        call()


def test_reach_picture_colours_are_the_codes_of_direct_calls(tmp_path):
    path, size, cells = tmp_path / "map.png", (500, 400), 30
    assert reach.main(["--resolution", str(cells), "--size", *map(str, size), "--output", str(path)]) == 0
    assert (image := matplotlib.image.imread(path)).shape[:2] == (size[1], size[0])
    # The same figure again, laid out as the file's, maps cell centres to pixels.
    extent, ref = reach.default_extent(SAMPLE_ARM, "xy"), reach.DEFAULT_REF
    figure = reach.draw(reach.reach_map(ROBOT, "xy", 0.2, extent, cells), "xy", 0.2, extent, (math.pi, 0, 0), ref,
                        size=size)
    figure.savefig(tmp_path / "again.png", dpi=100)
    u, v = reach.cell_centres(extent, cells)
    points = [(u[j], v[i]) for i, j in [(13, 14), (16, 15), (15, 20), (5, 10), (2, 3), (25, 28)]]
    codes = [ROBOT.ik([x, y, 0.2, math.pi, 0, 0], ref)[0] for x, y in points]
    assert set(codes) == {Code.SOLVED, Code.OUT_OF_REACH, Code.NO_SOLUTION}
    for (x, y), code in zip(figure.axes[0].transData.transform(points), codes):
        assert np.abs(image[int(size[1] - y), int(x), :3] - reach.colour_image(np.array(code))).max() < 1 / 255

