"""fk_ik.Arm against numpy products of DH matrices in both conventions and URDF written from
them, against fk_ik.Robot and, call by call, against the C functions (the library's own tests
check those against independent chain solvers); batches, limits, and the refusals of Arm and
Robot."""
import ctypes
import math
import os

import numpy as np
import pytest

from fk_ik import Arm, Code, Robot, SAMPLE_ARM, check_arm_form


def rot(axis, t):
    """The rotation by t about axis 0 (x), 1 (y) or 2 (z)."""
    m, (i, j) = np.eye(4), [(1, 2), (2, 0), (0, 1)][axis]
    m[i, i] = m[j, j] = math.cos(t)
    m[j, i], m[i, j] = math.sin(t), -math.sin(t)
    return m


def trans(x, y, z):
    m = np.eye(4)
    m[:3, 3] = x, y, z
    return m


def frame(pose):
    """A pose or tool [x, y, z, roll, pitch, yaw] as a matrix: Rz(yaw) Ry(pitch) Rx(roll)."""
    return trans(*pose[:3]) @ rot(2, pose[5]) @ rot(1, pose[4]) @ rot(0, pose[3])


def standard_dh(a, alpha, d, theta):
    return rot(2, theta) @ trans(0, 0, d) @ trans(a, 0, 0) @ rot(0, alpha)


def modified_dh(a, alpha, d, theta):
    return rot(0, alpha) @ trans(a, 0, 0) @ rot(2, theta) @ trans(0, 0, d)


def chain(rows, signs, base, flange, q, tool=None):
    """The TCP frame: base, each standard row's matrix at theta + sign * q, flange, tool."""
    m = base
    for (a, alpha, d, theta), s, x in zip(rows, signs, q):
        m = m @ standard_dh(a, alpha, d, theta + s * x)
    return m @ flange @ (np.eye(4) if tool is None else frame(tool))


def modified_of(rows, flange):
    """The modified table of a standard one, by regrouping the standard product (Tx and Rx
    commute): row i takes a and alpha of standard row i-1, the last Tx Rx moves into the flange."""
    rows = np.asarray(rows, dtype=float)
    modified = np.c_[np.r_[[[0.0, 0.0]], rows[:-1, :2]], rows[:, 2:]]
    return modified, trans(rows[5, 0], 0, 0) @ rot(0, rows[5, 1]) @ flange


PI = math.pi
# Arm families in standard rows (a, alpha, d, theta), with joint senses, base and flange
# poses. "designed" is the sample arm, whose modified rows modified_of must give back.
ARMS = {
    "skewed": ([(0.05, 1.2, 0.30, 0.1), (0.40, -0.3, 0.02, -0.4), (0.03, 1.57, -0.05, 0.7),
                (0.01, -1.1, 0.35, 0.2), (0.02, 0.9, 0.01, -0.3), (0.0, 0.0, 0.08, 0.5)],
               (1, -1, 1, 1, -1, 1), (0.1, -0.2, 0.3, 0.2, -0.1, 0.5), (0.01, 0.02, 0.03, 0.3, 0.2, -0.1)),
    "spherical_wrist": ([(0.15, -PI / 2, 0.45, 0), (0.6, 0, 0, -PI / 2), (0.12, -PI / 2, 0, 0),
                         (0, PI / 2, 0.64, 0), (0, -PI / 2, 0, 0), (0, 0, 0.1, 0)],
                        (1, 1, -1, 1, 1, -1), (0, 0, 0.2, 0, 0, PI / 4), (0, 0, 0.02, PI, 0, 0)),
    "designed": ([(0, -PI / 2, 0.1625, 0), (0.425, 0, 0, 0), (0.3922, PI, 0, 0),
                  (0, PI / 2, 0.1333, 0), (0, PI / 2, 0.0997, 0), (0, 0, 0.0996, 0)],
                 (1, -1, 1, 1, 1, -1), (0.5, 0.1, 0, 0, 0, PI / 3), (0, 0, 0.03, 0, 0, 0.4)),
}
FAMILY_NAMES = {"skewed": "general", "spherical_wrist": "spherical wrist", "designed": "designed chain"}
# Joint families: name -> (spread of uniform joints, or None for joints near zero).
JOINTS = {"generic": PI, "beyond_pi": 3 * PI, "near_zero": None}
TOOL, Q0 = np.array([0.01, -0.02, 0.05, 0.1, -0.2, 0.3]), [0.3, -1.2, 1.5, -0.4, 1.1, 0.2]
ROBOT = Robot(SAMPLE_ARM)
OFF_FORM = np.array(SAMPLE_ARM) + 0.01 * (np.arange(24).reshape(6, 4) == 5)  # joint 2's twist


def joints(name, n, seed=3):
    rng, spread = np.random.default_rng(seed), JOINTS[name]
    return rng.normal(0, 1e-3, (n, 6)) if spread is None else rng.uniform(-spread, spread, (n, 6))


def both_ways(name):
    """The arm of a family built from its standard rows and from their modified rows, and
    its numpy TCP frame at q with a tool."""
    rows, signs, base, flange = ARMS[name]
    base, flange = frame(base), frame(flange)
    modified, modified_flange = modified_of(rows, flange)
    standard_arm = Arm.from_dh(rows, "standard", signs, base, flange)
    modified_arm = Arm.from_dh(modified, "modified", signs, base, modified_flange)
    return standard_arm, modified_arm, lambda q, tool=None: chain(rows, signs, base, flange, q, tool)


def off_by(pose, matrix):
    return np.abs(frame(pose) - matrix).max()


def wrapped(x):
    return (x + PI) % (2 * PI) - PI


def far_pose(arm):
    return np.r_[10 * arm.layout["size"], 0, 0, 0.1, 0.2, 0.3]


def same(answer, code, *arrays):
    """answer's code is code and its arrays hold arrays' values bit for bit, in answer's types."""
    return answer[0] == code and all(np.asarray(a).tobytes() == np.asarray(w, np.asarray(a).dtype).tobytes()
                                     for a, w in zip(answer[1:], arrays))


@pytest.mark.parametrize("name", ARMS)
@pytest.mark.parametrize("joint_family", JOINTS)
def test_both_conventions_and_numpy_products_give_one_pose(name, joint_family):
    standard_arm, modified_arm, tcp = both_ways(name)
    modified = modified_of(ARMS[name][0], np.eye(4))[0]
    assert name != "designed" or np.array_equal(modified, np.array(SAMPLE_ARM))
    for q in joints(joint_family, 50):
        for arm in standard_arm, modified_arm:
            assert off_by(arm.fk(q, TOOL), tcp(q, TOOL)) < 1e-12
            assert off_by(arm.fk(q), tcp(q)) < 1e-12


@pytest.mark.parametrize("name", ARMS)
def test_single_calls_equal_the_c_functions_bit_for_bit(name):
    """Poses out of reach and with joint 5 at zero (axes 4 and 6 in line) among them."""
    lib, c, six = ctypes.CDLL(os.environ["FK_IK_LIBRARY"]), ctypes.c_double, ctypes.c_double * 6
    rows, signs, base, flange = ARMS[name]
    handle, message = ctypes.c_void_p(), ctypes.create_string_buffer(200)
    assert lib.armCreateFromRows((c * 24)(*np.ravel(rows)), 1, six(*signs), (c * 16)(*frame(base).ravel()),
                                 (c * 16)(*frame(flange).ravel()), None, None, ctypes.byref(handle), message,
                                 200) == 0, message.value
    arm, tool, codes, singulars = both_ways(name)[0], six(*TOOL), set(), 0
    q, qd = joints("beyond_pi", 60), joints("generic", 60, seed=8)
    q[::4, 4] = 0
    try:
        for k, (x, v) in enumerate(zip(q, qd)):
            pose, out, jac, dot, Q = six(), six(), (c * 36)(), (c * 36)(), (c * 96)()
            flags, n = (ctypes.c_int32 * 16)(), ctypes.c_int32()
            assert lib.armJntPosToTcpPos(handle, six(*x), tool, pose) == 0
            assert same((0, arm.fk(x, TOOL)), 0, pose)
            assert same((lib.armJacobian(handle, six(*x), tool, jac), arm.jacobian(x, TOOL)), 0, jac)
            code = lib.armJacobianDot(handle, six(*x), six(*v), tool, jac, dot)
            assert same((0, *arm.jacobian_dot(x, v, TOOL)), code, jac, dot)
            pose = six(*far_pose(arm)) if k % 9 == 0 else pose
            codes.add(lib.armTcpPosToAllJntPos(handle, pose, tool, Q, flags, ctypes.byref(n)))
            assert same((0, *arm.ik_all(pose, TOOL)), 0, Q[:6 * n.value], np.array(flags[:n.value]) != 0)
            singulars += any(flags[:n.value])
            ref, low, high = x + v, x - k % 4, x + k % 3  # some limits crossed, some too narrow
            codes.add(code := lib.armTcpPosToNearestJntPos(handle, pose, tool, six(*ref), six(*low), six(*high), out))
            assert same(arm.ik_nearest(pose, ref, TOOL, low, high), code, out)
            code = lib.armTcpPosToNearestJntPos(handle, pose, tool, six(*ref), None, None, out)
            assert same(arm.ik_nearest(pose, ref, TOOL), code, out)
    finally:
        lib.armDestroy(handle)
    assert codes == {0, 6, 7} and (singulars > 0) == (name != "skewed")


@pytest.mark.parametrize("rows, form", [(SAMPLE_ARM, 0), (OFF_FORM, 6)])
def test_robot_and_arm_forward_calls_agree_for_any_form(rows, form):
    robot, arm, q = Robot(rows), Arm.from_dh(rows, "modified"), joints("beyond_pi", 100)
    assert robot.arm_form == check_arm_form(rows) == form
    assert np.abs(robot.fk_many(q, TOOL) - arm.fk_many(q, TOOL)).max() < 1e-12
    for x, v in zip(q, joints("generic", 100, seed=8)):
        jac, dot = robot.jacobian_dot(x, v, TOOL)
        assert jac.tobytes() == robot.jacobian(x, TOOL).tobytes()
        assert np.abs(jac - arm.jacobian(x, TOOL)).max() < 1e-12
        assert np.abs(dot[3:] - arm.jacobian_dot(x, v, TOOL)[1][3:]).max() < 1e-12  # the angular rows


@pytest.mark.parametrize("name", ARMS)
def test_layout_measures_the_axes_of_a_numpy_product_and_mdh_rebuilds_the_arm(name):
    rows, signs, base, _ = ARMS[name]
    m, axes = frame(base), []  # each joint's axis at zero: a point and a unit direction
    for row, s in zip(rows, signs):
        axes.append((m[:3, 3], s * m[:3, 2]))
        m = m @ standard_dh(*row)
    arm = both_ways(name)[0]
    layout = arm.layout
    assert layout["family"] == FAMILY_NAMES[name]
    lines = layout["text"].splitlines()
    for i, pair in enumerate(layout["pairs"]):
        (p, u), (r, v) = axes[i], axes[i + 1]
        normal = np.cross(u, v)
        angle = math.atan2(np.linalg.norm(normal), abs(u @ v))
        distance = (np.linalg.norm(np.cross(r - p, u)) if angle < 1e-9
                    else abs((r - p) @ normal) / np.linalg.norm(normal))
        assert pair["axes"] == (i, i + 1) and abs(pair["angle"] - angle) < 1e-9
        assert abs(pair["distance"] - distance) < 1e-9
        assert lines[i].startswith(f"axes {i + 1}-{i + 2}: {pair['kind']},")
    assert (layout["wrist_distance"] < 1e-9) == (name == "spherical_wrist")
    rows, signs, base, flange, designed = arm.mdh()
    again = Arm.from_dh(rows, "modified", signs, base, flange)
    q = joints("generic", 50)
    assert np.abs(again.fk_many(q, TOOL) - arm.fk_many(q, TOOL)).max() < 1e-12
    assert designed == (name == "designed") == (check_arm_form(rows) == 0)
def arm_rpy(m):
    return [math.atan2(m[2, 1], m[2, 2]), math.atan2(-m[2, 0], math.hypot(m[0, 0], m[1, 0])),
            math.atan2(m[1, 0], m[0, 0])]


def urdf(name, lower=(-2, -3, -1.5, -4), upper=(2, 3, 1.5, 4)):
    """URDF text of an arm family from its modified rows: fixed joints carry the base and the
    flange; joints 1-4 revolute with the limits given, joints 5 and 6 continuous."""
    rows, signs, base, flange = ARMS[name]
    modified, modified_flange = modified_of(rows, frame(flange))

    def origin(m):
        return (f'<origin xyz="{" ".join(f"{v:.17g}" for v in m[:3, 3])}" '
                f'rpy="{" ".join(f"{v:.17g}" for v in arm_rpy(m))}"/>')

    joints = [f'<joint name="mount" type="fixed"><parent link="base"/><child link="link0"/>'
              f'{origin(frame(base))}</joint>']
    for i, (row, sign) in enumerate(zip(modified, signs)):
        kind = (f'revolute"><limit lower="{lower[i]}" upper="{upper[i]}" effort="1" velocity="1"/>'
                if i < 4 else 'continuous">')
        joints.append(f'<joint name="joint{i + 1}" type="{kind}<parent link="link{i}"/>'
                      f'<child link="link{i + 1}"/>{origin(modified_dh(*row))}<axis xyz="0 0 {sign}"/></joint>')
    joints.append(f'<joint name="flange" type="fixed"><parent link="link6"/><child link="tool0"/>'
                  f'{origin(modified_flange)}</joint>')
    links = "".join(f'<link name="{link}"/>' for link in ["base", "tool0"] + [f"link{i}" for i in range(7)])
    return f'<?xml version="1.0"?>\n<robot name="{name}">{links}{"".join(joints)}</robot>\n'


@pytest.mark.parametrize("name", ARMS)
def test_urdf_gives_the_arm_of_its_rows(name, tmp_path):
    (path := tmp_path / f"{name}.urdf").write_text(urdf(name))
    arm, tcp = Arm.from_urdf(path), both_ways(name)[2]
    q = joints("beyond_pi", 50)
    for x in q:
        assert off_by(arm.fk(x, TOOL), tcp(x, TOOL)) < 1e-12
    for again in (Arm.from_urdf(str(path), "base", "tool0"), Arm.from_urdf_string(urdf(name)),
                  Arm.from_urdf_string(urdf(name).encode())):
        assert again.fk_many(q, TOOL).tobytes() == arm.fk_many(q, TOOL).tobytes()
    assert arm.lower.tolist() == [-2, -3, -1.5, -4, -math.inf, -math.inf]
    assert arm.upper.tolist() == [2, 3, 1.5, 4, math.inf, math.inf]
    assert arm.layout["family"] == FAMILY_NAMES[name]


GOOD = dict(rows=SAMPLE_ARM, convention="standard")
ARM, OFF, DEGENERATE = Arm.from_dh(**GOOD), Robot(OFF_FORM), Arm.from_dh(np.zeros((6, 4)), "standard")


def built(**changes):
    return lambda: Arm.from_dh(**{**GOOD, **changes})


def off_form(call):
    return (rf"^{call}: this arm is not of the form the designed inverse solver is exact for "
            r"\(check_arm_form 6: alpha of joint 2, mdh\[1, 1\]\).*fk_ik\.Arm")


def degenerate(call):
    return rf"^{call}: this arm is degenerate \(coincident axes\) and has no inverse$"


@pytest.mark.parametrize("call, error, message", [
    (lambda: Arm(), TypeError, "No constructor"),
    (built(rows=np.zeros((6, 3))), ValueError, r"rows must have shape \(6, 4\), got \(6, 3\)"),
    (built(rows=np.full((6, 4), math.inf)), ValueError, "rows must be finite"),
    (built(rows=[["a"] * 4] * 6), TypeError, "rows must hold numbers"),
    (built(convention="craig"), ValueError, 'convention must be "standard" or "modified", got "craig"'),
    (built(convention=0), TypeError, "convention must be a str"),
    (built(signs=[1, 1, 1, 1, 1, math.nan]), ValueError, "the sign of joint 6 is nan"),
    (built(flange=np.r_[trans(1, 0, 0)[:3], [[0, 0, 0.1, 1]]]), ValueError, "flange frame: the bottom row"),
    (lambda: Robot(np.zeros((5, 4))), ValueError, "mdh must have shape"),
    (lambda: Robot(np.full((6, 4), np.nan)), ValueError, "mdh must be finite"),
    (lambda: ROBOT.fk([[1, 2], [3]]), ValueError, "q must have shape"),  # ragged
    (lambda: ROBOT.fk(Q0, tool=[math.inf] * 6), ValueError, "tool must be finite"),
    (lambda: ROBOT.ik_many(np.zeros((300, 6)), np.zeros((3, 6))), ValueError, r"ref must have shape \(6,\) or \(300"),
    (lambda: ARM.fk([0, 0, 0, math.nan, 0, 0]), ValueError, r"q must be finite: element 3"),
    (lambda: ROBOT.fk(None), TypeError, "q must be an array"),
    (lambda: ARM.jacobian(Q0, tool=[0] * 3), ValueError, r"tool must have shape \(6,\), got \(3,\)"),
    (lambda: ARM.jacobian_dot(Q0, [math.inf] * 6), ValueError, "qd must be finite"),
    (lambda: ARM.ik_all([0] * 5), ValueError, r"pose must have shape \(6,\), got \(5,\)"),
    (lambda: ARM.ik_nearest(Q0, [0, 0, math.nan, 0, 0, 0]), ValueError, "ref must be finite: element 2"),
    (lambda: ARM.ik_all_many(np.zeros((4, 5))), ValueError, r"poses must have shape \(n, 6\)"),
    (lambda: ARM.fk_many(np.zeros((4, 5))), ValueError, r"Q must have shape \(n, 6\)"),
    (lambda: ARM.fk_many(np.zeros((4, 6)), threads=0), ValueError, "threads must be None or at least 1"),
    (lambda: ARM.fk_many(np.zeros((4, 6)), threads=1.5), TypeError, "threads must be an int"),
    (lambda: ROBOT.ik_many(np.zeros((300, 6)), Q0, mode=2**31), ValueError, "mode must be a 32-bit int"),
    (lambda: ARM.ik_nearest(Q0, Q0, lower=[0, math.nan, 0, 0, 0, 0]), ValueError, "lower must be free of NaN"),
    (lambda: ARM.ik_nearest_many(np.zeros((4, 6)), np.zeros((3, 6))), ValueError,
     r"refs must have shape \(6,\) or \(4, 6\)"),
    (lambda: Arm.from_urdf("/nonexistent/arm.urdf"), OSError, "cannot read '/nonexistent/arm.urdf': No such file"),
    (lambda: Arm.from_urdf(3), TypeError, "path must be a str, bytes or os.PathLike, not int"),
    (lambda: Arm.from_urdf(__file__ + "\0.urdf"), ValueError, "path must not contain a null byte"),
    (lambda: Arm.from_urdf_string("<robot"), ValueError, "the URDF parser refused the text"),
    (lambda: Arm.from_urdf_string(None), TypeError, "xml must be a str or bytes"),
    (lambda: Arm.from_urdf_string(urdf("skewed"), tip_link="link4"), ValueError, "holds 4 moving joints, not six"),
    (lambda: Arm.from_urdf_string(urdf("skewed"), base_link=0), TypeError, "base_link must be a str or None"),
    (lambda: OFF.ik(OFF.fk(Q0), Q0), ValueError, off_form("ik")),
    (lambda: OFF.ik_all(OFF.fk(Q0), Q0), ValueError, off_form("ik_all")),
    (lambda: OFF.ik_nearest(OFF.fk(Q0), Q0, lower=[-7] * 6), ValueError, off_form("ik_nearest")),
    (lambda: OFF.ik_many([OFF.fk(Q0)] * 3, Q0), ValueError, off_form("ik_many")),
    (lambda: DEGENERATE.ik_all(Q0), ValueError, degenerate("ik_all")),
    (lambda: DEGENERATE.ik_nearest(Q0, Q0), ValueError, degenerate("ik_nearest")),
    (lambda: DEGENERATE.ik_nearest(Q0, Q0, lower=[1] * 6, upper=[0] * 6), ValueError, degenerate("ik_nearest")),
    (lambda: DEGENERATE.ik_all_many(np.empty((0, 6))), ValueError, degenerate("ik_all_many")),
    (lambda: DEGENERATE.ik_nearest_many(np.empty((0, 6)), Q0), ValueError, degenerate("ik_nearest_many"))])
def test_refusals(call, error, message):
    with pytest.raises(error, match=message):
        call()


def test_ik_nearest_keeps_to_the_limits_given_or_else_the_arms_own():
    rows, signs, base, flange = ARMS["spherical_wrist"]
    arm, q = both_ways("spherical_wrist")[0], np.array(Q0)
    pose = arm.fk(q, TOOL)
    Q = arm.ik_all(pose, TOOL)[0]
    other = Q[np.abs(wrapped(Q - q)).max(axis=1) > 0.1][0]
    around = dict(lower=other - 0.01, upper=other + 0.01)
    limited = Arm.from_dh(rows, "standard", signs, frame(base), frame(flange), **around)
    assert np.isinf(arm.lower).all() and limited.lower.tolist() == around["lower"].tolist()
    for (code, x), expected in ((arm.ik_nearest(pose, q, TOOL, **around), other),
                                (limited.ik_nearest(pose, q, TOOL), other),
                                (limited.ik_nearest(pose, q, TOOL, [-math.inf] * 6, [math.inf] * 6), q)):
        assert code is Code.SOLVED and np.abs(x - expected).max() < 1e-9
    # A side given replaces that side of the arm's own limits only.
    for side, opposite, unlimited in ("lower", "upper", -math.inf), ("upper", "lower", math.inf):
        answer = limited.ik_nearest(pose, q, TOOL, **{side: [unlimited] * 6})
        assert same(answer, *arm.ik_nearest(pose, q, TOOL, **{side: [unlimited] * 6, opposite: around[opposite]}))
        assert answer[0] is Code.SOLVED and not np.allclose(answer[1], q)
    assert same(arm.ik_nearest(pose, q, TOOL, other + 0.01, other + 0.02), Code.NO_SOLUTION, np.zeros(6))
    assert same(arm.ik_nearest(pose, q, TOOL, q, q - 1), Code.INVALID_LIMITS, np.zeros(6))


@pytest.mark.parametrize("name, threads", [("designed", 1), ("designed", 2), ("skewed", 2)])
def test_batches_equal_single_calls(name, threads):
    arm = both_ways(name)[0]
    q = joints("beyond_pi", 520, seed=20 + threads)
    poses = arm.fk_many(q, TOOL, threads=threads)
    assert poses.tobytes() == np.array([arm.fk(x, TOOL) for x in q]).tobytes()
    poses[::9] = far_pose(arm)
    counts, Q, singular = arm.ik_all_many(poses, TOOL, threads=threads)
    for i, pose in enumerate(poses):
        one, flags = arm.ik_all(pose, TOOL)
        assert Q[i, :counts[i]].tobytes() == one.tobytes() and singular[i, :counts[i]].tobytes() == flags.tobytes()
    padding = np.arange(16) >= counts[:, None]
    assert np.isnan(Q[padding]).all() and not singular[padding].any() and (counts == 0).sum() >= 58
    limits = dict(lower=[-2] * 6, upper=[2] * 6)
    for refs in q + 0.05, q[0]:
        codes, X = arm.ik_nearest_many(poses, refs, TOOL, threads=threads, **limits)
        single = [arm.ik_nearest(p, r, TOOL, **limits) for p, r in zip(poses, np.broadcast_to(refs, q.shape))]
        assert codes.tolist() == [c for c, _ in single] and {0, 6, 7} <= set(codes.tolist())
        assert X.tobytes() == np.array([x for _, x in single]).tobytes()
    assert arm.fk_many(np.empty((0, 6)), threads=threads).shape == (0, 6)
    assert [a.shape for a in arm.ik_all_many(np.empty((0, 6)), threads=threads)] == [(0,), (0, 16, 6), (0, 16)]
    assert [a.shape for a in arm.ik_nearest_many(np.empty((0, 6)), Q0, threads=threads)] == [(0,), (0, 6)]


def test_readme_python_examples_run(tmp_path, monkeypatch):
    """Every Python block of the README, run where the arm.urdf they read lies."""
    (tmp_path / "arm.urdf").write_text(urdf("spherical_wrist"))
    monkeypatch.chdir(tmp_path)
    blocks = open(os.environ["FK_IK_README"], encoding="utf-8").read().split("```python\n")[1:]
    assert blocks
    for block in blocks:
        exec(block.split("```")[0], names := {})
        assert names.get("code", Code.SOLVED) == Code.SOLVED
        assert all(isinstance(names[arm], Arm) for arm in names if arm.endswith("arm"))
