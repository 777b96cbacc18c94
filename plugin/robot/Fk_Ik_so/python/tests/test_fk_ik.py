"""fk_ik against the library's C functions, against itself one call at a time, against
central differences of its own forward kinematics, and on input it must refuse."""
import ctypes
import io
import math
import os
import re

import matplotlib.image
import numpy as np
import pytest

import fk_ik
from fk_ik import Code, Robot, SAMPLE_ARM, reach

ROBOT = Robot(SAMPLE_ARM)
TOOL = np.array([0.01, -0.02, 0.05, 0.1, -0.2, 0.3])
Q0 = np.array([0.3, -1.2, 1.5, -0.4, 1.1, 0.2])
# The sample arm with offsets in every d and theta, which the chain form allows.
OFFSET_ARM = np.array(SAMPLE_ARM) + np.c_[np.zeros((6, 2)), 0.01 * np.arange(6), 0.1 - 0.2 * np.arange(6)]


def family(name, n=600, seed=14):
    """Joint positions of a named family, and references: half near them, half anywhere."""
    rng = np.random.default_rng(seed)
    q = rng.uniform(-math.pi, math.pi, (n, 6))
    if name == "beyond_pi":
        q *= 3
    elif name == "near_wrist_singular":
        q[:, 4] = rng.uniform(-0.03, 0.03, n)
    elif name == "stretched_elbow":
        q[:, 2] = rng.uniform(-0.03, 0.03, n)
    refs = q + rng.normal(0, 0.1, q.shape)
    refs[n // 2:] = rng.uniform(-math.pi, math.pi, (n - n // 2, 6))
    return q, refs


FAMILIES = ["generic", "beyond_pi", "near_wrist_singular", "stretched_elbow"]


def same(answer, code, *arrays):
    """Whether a module answer (code, arrays...) is the C function's, to the bit."""
    return answer[0] == code and all(
        np.asarray(got).tobytes() == np.asarray(want, dtype=np.asarray(got).dtype).tobytes()
        for got, want in zip(answer[1:], arrays))


@pytest.mark.parametrize("name", FAMILIES)
def test_single_calls_equal_the_c_functions_bit_for_bit(name):
    lib = ctypes.CDLL(os.environ["FK_IK_LIBRARY"])
    six, codes = ctypes.c_double * 6, set()
    lib.init((ctypes.c_double * 24)(*np.ravel(OFFSET_ARM)))
    robot, (q, refs) = Robot(OFFSET_ARM), family(name)
    for k, (joints, ref) in enumerate(zip(q, refs)):
        pose, out, tool, r = six(), six(), six(*TOOL), six(*ref)
        lib.jntPosToTcpPos(six(*joints), tool, pose)
        assert robot.fk(joints, TOOL).tobytes() == np.array(pose).tobytes()
        code = lib.tcpPosToJntPos(pose, tool, r, out)
        assert same(robot.ik(pose, ref, TOOL), code, out)
        codes.add(code)
        mode = k % 10 - 1  # -1 ... 8: the reference's, every mode, and an invalid one
        code = lib.tcpPosToJntPosInMode(pose, tool, r, mode, out)
        assert same(robot.ik(pose, ref, TOOL, mode=mode), code, out)
        every, modes, statuses = (six * 8)(), (ctypes.c_int32 * 8)(), (ctypes.c_int32 * 8)()
        code = lib.tcpPosToAllJntPos(pose, tool, r, every, modes, statuses)
        assert same(robot.ik_all(pose, ref, TOOL), code, every, modes, statuses)
        low, high = ref - (k % 4), ref + (k % 3)  # some limits crossed, some too narrow
        code = lib.tcpPosToNearestJntPos(pose, tool, r, six(*low), six(*high), out)
        assert same(robot.ik_nearest(pose, ref, TOOL, low, high), code, out)
        code = lib.tcpPosToNearestJntPos(pose, tool, r, None, None, out)
        assert same(robot.ik_nearest(pose, ref, TOOL), code, out)
    assert Code.SOLVED in codes and len(codes) > 1
    for row, column in [(0, 0), (3, 1), (5, 3)]:  # the arm-form check: a value broken
        arm = np.array(SAMPLE_ARM)
        arm[row, column] += 0.5
        assert fk_ik.check_arm_form(arm) == lib.checkArmForm((ctypes.c_double * 24)(*arm.ravel()))
    assert robot.arm_form == 0 and (robot.mdh == OFFSET_ARM).all()


@pytest.mark.parametrize("threads", [1, 2, 3, 7])
def test_batches_equal_single_calls_for_every_thread_count(threads):
    q, refs = family("generic", n=2000, seed=threads)
    poses = ROBOT.fk_many(q, TOOL, threads=threads)
    assert poses.tobytes() == np.array([ROBOT.fk(row, TOOL) for row in q]).tobytes()
    for ref, mode in [(refs, None), (refs[0], None), (refs, threads)]:
        codes, joints = ROBOT.ik_many(poses, ref, TOOL, mode, threads=threads)
        rows = zip(poses, np.broadcast_to(ref, q.shape))
        single = [ROBOT.ik(p, r, TOOL, mode) for p, r in rows]
        assert codes.tolist() == [code for code, _ in single]
        assert joints.tobytes() == np.array([out for _, out in single]).tobytes()
    assert ROBOT.fk_many(np.empty((0, 6)), threads=threads).shape == (0, 6)


def pose_of(q):
    return ROBOT.fk(q)


@pytest.mark.parametrize("pose, ref, expected", [
    (pose_of(Q0), Q0, Code.SOLVED),
    ([0.0, 0.0, 0.5, math.pi, 0.0, 0.0], Q0, Code.OUT_OF_REACH),   # wrist centre on joint 1's axis
    ([3.0, 0.0, 0.5, math.pi, 0.0, 0.0], Q0, Code.NO_SOLUTION),    # beyond the arm's reach
    (pose_of(Q0), [0.3, -1.2, 0.0, -0.4, 1.1, 0.2], Code.ELBOW_SINGULAR),  # reference stretched
    (pose_of([0.3, -1.2, 1.5, -0.4, 0.005, 0.2]), [0.3, -1.2, 1.5, -0.4, 0.005, 0.2],
     Code.WRIST_SINGULAR),
])
def test_codes(pose, ref, expected):
    code, joints = ROBOT.ik(pose, ref)
    assert code is expected and (code != Code.SOLVED) == (not joints.any())
    if code == Code.SOLVED:
        assert np.abs(ROBOT.fk(joints) - pose).max() < 1e-9


def test_modes():
    assert ROBOT.mode(np.zeros(6)) == (Code.SHOULDER_SINGULAR, 0)
    assert ROBOT.mode(np.zeros(6), check=False) == (Code.SOLVED, 7)
    assert ROBOT.mode([0, math.pi / 2, -math.pi / 2, 0, -math.pi / 2, 0]) == (Code.SOLVED, 3)


def rotation(rpy):
    (cr, cp, cy), (sr, sp, sy) = np.cos(rpy), np.sin(rpy)
    return np.array([[cy * cp, cy * sp * sr - sy * cr, cy * sp * cr + sy * sr],
                     [sy * cp, sy * sp * sr + cy * cr, sy * sp * cr - cy * sr],
                     [-sp, cp * sr, cp * cr]])


@pytest.mark.parametrize("name", FAMILIES)
def test_jacobians_against_central_differences(name):
    h = 1e-6
    q, qd = family(name, n=20)
    for joints, velocity in zip(q, qd):
        jac, at = ROBOT.jacobian(joints, TOOL), rotation(ROBOT.fk(joints, TOOL)[3:])
        for i in range(6):
            step = h * np.eye(6)[i]
            plus, minus = ROBOT.fk(joints + step, TOOL), ROBOT.fk(joints - step, TOOL)
            spin = (rotation(plus[3:]) - rotation(minus[3:])) / (2 * h) @ at.T
            numeric = np.r_[(plus[:3] - minus[:3]) / (2 * h), spin[2, 1], spin[0, 2], spin[1, 0]]
            assert np.abs(jac[:, i] - numeric).max() < 1e-7
        again, dot = ROBOT.jacobian_dot(joints, velocity, TOOL)
        assert again.tobytes() == jac.tobytes()
        # The angular rows are the exact time derivative of the Jacobian's.
        ahead = ROBOT.jacobian(joints + h * velocity, TOOL)
        behind = ROBOT.jacobian(joints - h * velocity, TOOL)
        assert np.abs(dot[3:] - (ahead[3:] - behind[3:]) / (2 * h)).max() < 1e-6


BATCH = np.zeros((300, 6))
BAD_INPUT = [
    (lambda: Robot(np.zeros((5, 4))), ValueError, "mdh must have shape"),
    (lambda: Robot(np.full((6, 4), np.nan)), ValueError, "mdh must be finite"),
    (lambda: Robot("arm"), TypeError, "mdh must hold numbers"),
    (lambda: ROBOT.fk([1, 2, 3]), ValueError, r"q must have shape \(6,\), got \(3,\)"),
    (lambda: ROBOT.fk([[1, 2], [3]]), ValueError, "q must have shape"),
    (lambda: ROBOT.fk(["0"] * 6), TypeError, "q must hold numbers"),
    (lambda: ROBOT.fk(None), TypeError, "q must be an array"),
    (lambda: ROBOT.fk(Q0, tool=[math.inf] * 6), ValueError, "tool must be finite"),
    (lambda: ROBOT.ik(pose_of(Q0), [0.0] * 5), ValueError, "ref must have shape"),
    (lambda: ROBOT.ik([math.nan] * 6, Q0), ValueError, "pose must be finite"),
    (lambda: ROBOT.jacobian_dot(Q0, [1j] * 6), TypeError, "qd must hold numbers"),
    (lambda: ROBOT.mode([Q0]), ValueError, "q must have shape"),
    (lambda: ROBOT.fk_many(Q0), ValueError, r"Q must have shape \(n, 6\)"),
    (lambda: ROBOT.fk_many(BATCH, threads=0), ValueError, "threads must be None or at least 1"),
    (lambda: ROBOT.fk_many(BATCH, threads="2"), TypeError, "threads must be an int"),
    (lambda: ROBOT.ik_many(BATCH, BATCH[:3]), ValueError, r"ref must have shape \(6,\) or \(300, 6\)"),
    (lambda: ROBOT.ik(Q0, Q0, mode=1.0), TypeError, "mode must be an int"),
    (lambda: ROBOT.ik_many(BATCH, Q0, mode=2**31), ValueError, "mode must be a 32-bit int"),
    (lambda: ROBOT.ik_nearest(Q0, Q0, lower=[math.nan] * 6), ValueError, "lower must be free of NaN"),
    (lambda: ROBOT.ik_all(Q0, Q0, tool=np.zeros(7)), ValueError, "tool must have shape"),
    (lambda: fk_ik.check_arm_form(np.zeros((6, 3))), ValueError, "mdh must have shape"),
]


@pytest.mark.parametrize("call, error, message", BAD_INPUT)
def test_bad_input_raises_and_the_interpreter_lives_on(call, error, message):
    with pytest.raises(error, match=message):
        call()


def test_reach_picture_colours_are_the_codes_of_direct_calls(tmp_path):
    path, size, cells = tmp_path / "map.png", (500, 400), 30
    assert reach.main(["--resolution", str(cells), "--size", *map(str, size),
                       "--output", str(path)]) == 0
    image = matplotlib.image.imread(path)
    assert image.shape[:2] == (size[1], size[0])
    # The same figure again, laid out as the file's, maps cell centres to pixels.
    extent = reach.default_extent(SAMPLE_ARM, "xy")
    codes = reach.reach_map(ROBOT, "xy", 0.2, extent, cells)
    figure = reach.draw(codes, "xy", 0.2, extent, (math.pi, 0, 0), reach.DEFAULT_REF, size=size)
    figure.savefig(io.BytesIO(), dpi=100)
    u, v = reach.cell_centres(extent, cells)
    seen = set()
    for i, j in [(13, 14), (16, 15), (15, 20), (5, 10), (2, 3), (25, 28)]:
        code, _ = ROBOT.ik([u[j], v[i], 0.2, math.pi, 0, 0], reach.DEFAULT_REF)
        x, y = figure.axes[0].transData.transform((u[j], v[i]))
        colour = reach.colour_image(np.array(code))
        assert np.abs(image[int(size[1] - y), int(x), :3] - colour).max() < 1 / 255
        seen.add(code)
    assert seen == {Code.SOLVED, Code.OUT_OF_REACH, Code.NO_SOLUTION}


def test_readme_example_runs():
    readme = open(os.environ["FK_IK_README"], encoding="utf-8").read()
    snippet = re.search(r"```python\n(.*?)```", readme, re.S).group(1)
    names = {}
    exec(snippet, names)
    assert names["code"] == fk_ik.Code.SOLVED
