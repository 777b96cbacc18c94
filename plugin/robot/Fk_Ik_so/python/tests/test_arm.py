"""fk_ik.Arm against numpy products of its DH matrices in both conventions and URDF
written from them, central differences, fk_ik.Robot and the C functions; its inverse
against its own fk, in closed form and by elimination, and the numpy product; its
refusals; Robot's inverse and the reach map refusing arms of another form."""
import ctypes
import math
import os
import pathlib

import numpy as np
import pytest

from fk_ik import Arm, Code, Robot, SAMPLE_ARM, check_arm_form, reach


def rot_x(t):
    c, s = math.cos(t), math.sin(t)
    return np.array([[1, 0, 0, 0], [0, c, -s, 0], [0, s, c, 0], [0, 0, 0, 1.0]])


def rot_y(t):
    c, s = math.cos(t), math.sin(t)
    return np.array([[c, 0, s, 0], [0, 1, 0, 0], [-s, 0, c, 0], [0, 0, 0, 1.0]])


def rot_z(t):
    c, s = math.cos(t), math.sin(t)
    return np.array([[c, -s, 0, 0], [s, c, 0, 0], [0, 0, 1, 0], [0, 0, 0, 1.0]])


def trans(x, y, z):
    m = np.eye(4)
    m[:3, 3] = x, y, z
    return m


def frame(pose):
    """A pose or tool [x, y, z, roll, pitch, yaw] as a matrix: Rz(yaw) Ry(pitch) Rx(roll)."""
    return trans(*pose[:3]) @ rot_z(pose[5]) @ rot_y(pose[4]) @ rot_x(pose[3])


def standard_dh(a, alpha, d, theta):
    return rot_z(theta) @ trans(0, 0, d) @ trans(a, 0, 0) @ rot_x(alpha)


def modified_dh(a, alpha, d, theta):
    return rot_x(alpha) @ trans(a, 0, 0) @ rot_z(theta) @ trans(0, 0, d)


def chain(dh, rows, signs, base, flange, q, tool=None):
    """The TCP frame: base, each row's matrix at theta + sign * q, flange, tool."""
    m = base
    for (a, alpha, d, theta), s, x in zip(rows, signs, q):
        m = m @ dh(a, alpha, d, theta + s * x)
    return m @ flange @ (np.eye(4) if tool is None else frame(tool))


def modified_of(rows, flange):
    """The modified table of a standard one, by regrouping the standard product
        Rz Tz(d0) [Tx(a0) Rx(alpha0) Rz Tz(d1)] ... [Tx(a4) Rx(alpha4) Rz Tz(d5)] Tx(a5) Rx(alpha5)
    into modified matrices Rx(alpha) Tx(a) Rz Tz(d) (Tx and Rx commute): row 0 keeps only
    d0 and theta0, row i takes a and alpha of standard row i-1, and the last Tx Rx moves
    into the flange."""
    rows = np.asarray(rows, dtype=float)
    modified = np.c_[np.r_[[[0.0, 0.0]], rows[:-1, :2]], rows[:, 2:]]
    return modified, trans(rows[5, 0], 0, 0) @ rot_x(rows[5, 1]) @ flange


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
    return standard_arm, modified_arm, lambda q, tool=None: chain(standard_dh, rows, signs, base, flange, q, tool)


def off_by(pose, matrix):
    return np.abs(frame(pose) - matrix).max()


def test_the_designed_family_is_the_sample_arm():
    rows, _, _, _ = ARMS["designed"]
    modified, flange = modified_of(rows, np.eye(4))
    assert np.array_equal(modified, np.array(SAMPLE_ARM)) and np.array_equal(flange, np.eye(4))


@pytest.mark.parametrize("name", ARMS)
@pytest.mark.parametrize("joint_family", JOINTS)
def test_both_conventions_and_numpy_products_give_one_pose(name, joint_family):
    standard_arm, modified_arm, tcp = both_ways(name)
    rows, signs, base, flange = ARMS[name]
    modified, modified_flange = modified_of(rows, frame(flange))
    for q in joints(joint_family, 50):
        expected = tcp(q, TOOL)
        # The modified product in numpy, too: the regrouping itself is checked, not assumed.
        assert np.abs(chain(modified_dh, modified, signs, frame(base), modified_flange, q, TOOL)
                      - expected).max() < 1e-12
        for arm in standard_arm, modified_arm:
            assert off_by(arm.fk(q, TOOL), expected) < 1e-12
            assert off_by(arm.fk(q), tcp(q)) < 1e-12


@pytest.mark.parametrize("name", ARMS)
def test_fk_equals_the_c_function_bit_for_bit(name):
    lib, six, matrix = ctypes.CDLL(os.environ["FK_IK_LIBRARY"]), ctypes.c_double * 6, ctypes.c_double * 16
    rows, signs, base, flange = ARMS[name]
    handle, message = ctypes.c_void_p(), ctypes.create_string_buffer(200)
    assert lib.armCreateFromRows((ctypes.c_double * 24)(*np.ravel(rows)), 1, six(*signs),
                                 matrix(*frame(base).ravel()), matrix(*frame(flange).ravel()), None, None,
                                 ctypes.byref(handle), message, 200) == 0, message.value
    arm, pose = both_ways(name)[0], six()
    try:
        for q in joints("generic", 100):
            assert lib.armJntPosToTcpPos(handle, six(*q), six(*TOOL), pose) == 0
            assert arm.fk(q, TOOL).tobytes() == np.array(pose).tobytes()
    finally:
        lib.armDestroy(handle)


def test_the_sample_arm_as_arm_and_as_robot_agree():
    arm = Arm.from_dh(SAMPLE_ARM, "modified")
    for q in joints("beyond_pi", 100):
        assert np.abs(arm.fk(q, TOOL) - ROBOT.fk(q, TOOL)).max() < 1e-12
        assert np.abs(arm.jacobian(q, TOOL) - ROBOT.jacobian(q, TOOL)).max() < 1e-12


@pytest.mark.parametrize("name", ARMS)
@pytest.mark.parametrize("joint_family", ["generic", "beyond_pi"])
def test_jacobians_against_central_differences(name, joint_family):
    arm, h = both_ways(name)[0], 1e-6
    q, qd = joints(joint_family, 12, seed=7), joints("generic", 12, seed=8)
    for x, v in zip(q, qd):
        jac, at = arm.jacobian(x, TOOL), frame(arm.fk(x, TOOL))[:3, :3]
        plus, minus = arm.fk_many(x + h * np.eye(6), TOOL), arm.fk_many(x - h * np.eye(6), TOOL)
        for i, (p, m) in enumerate(zip(plus, minus)):
            spin = (frame(p)[:3, :3] - frame(m)[:3, :3]) / (2 * h) @ at.T
            assert np.abs(jac[:, i] - np.r_[(p[:3] - m[:3]) / (2 * h), spin[2, 1], spin[0, 2], spin[1, 0]]).max() < 1e-7
        same, dot = arm.jacobian_dot(x, v, TOOL)
        assert same.tobytes() == jac.tobytes()
        ahead, behind = arm.jacobian(x + h * v, TOOL), arm.jacobian(x - h * v, TOOL)
        assert np.abs(dot - (ahead - behind) / (2 * h)).max() < 1e-6  # every row: the true dJ/dt


@pytest.mark.parametrize("threads", [1, 2])
def test_batches_equal_single_calls(threads):
    arm = both_ways("skewed")[0]
    q = joints("beyond_pi", 1000, seed=threads)
    for tool in None, TOOL:
        assert arm.fk_many(q, tool, threads=threads).tobytes() == np.array([arm.fk(x, tool) for x in q]).tobytes()
    assert arm.fk_many(np.empty((0, 6)), threads=threads).shape == (0, 6)


def axes_at_zero(name):
    """Each joint's axis at zero as a point and a unit direction, from the numpy product."""
    rows, signs, base, _ = ARMS[name]
    m, axes = frame(base), []
    for (a, alpha, d, theta), s in zip(rows, signs):
        axes.append((m[:3, 3], s * m[:3, 2]))
        m = m @ standard_dh(a, alpha, d, theta)
    return axes


@pytest.mark.parametrize("name", ARMS)
def test_layout_measures_the_axes_of_a_numpy_product(name):
    layout, axes = both_ways(name)[0].layout, axes_at_zero(name)
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


@pytest.mark.parametrize("name", ARMS)
def test_mdh_rebuilds_the_arm_and_the_designed_form_solves_through_robot(name):
    arm = both_ways(name)[0]
    rows, signs, base, flange, designed = arm.mdh()
    again = Arm.from_dh(rows, "modified", signs, base, flange)
    q = joints("generic", 50)
    assert np.abs(again.fk_many(q, TOOL) - arm.fk_many(q, TOOL)).max() < 1e-12
    assert designed == (name == "designed") == (check_arm_form(rows) == 0)
    if not designed:
        return
    # The arm's pose is base * Robot's TCP at signs * q with flange * TOOL as the tool.
    robot, tool = Robot(rows), flange @ frame(TOOL)
    tool = np.r_[tool[:3, 3], arm_rpy(tool)]
    codes = []
    for x in q:
        target = np.linalg.solve(base, frame(arm.fk(x, TOOL)))
        codes.append((answer := robot.ik(np.r_[target[:3, 3], arm_rpy(target)], signs * x, tool))[0])
        # Uniform joints meet the solver's shoulder-singular band now and then.
        assert codes[-1] in (Code.SOLVED, Code.SHOULDER_SINGULAR)
        if codes[-1] == Code.SOLVED:
            assert off_by(arm.fk(signs * answer[1], TOOL), frame(arm.fk(x, TOOL))) < 1e-9
    assert codes.count(Code.SOLVED) >= 45


def arm_rpy(m):
    return [math.atan2(m[2, 1], m[2, 2]), math.atan2(-m[2, 0], math.hypot(m[0, 0], m[1, 0])),
            math.atan2(m[1, 0], m[0, 0])]


def urdf(name, lower=(-2, -3, -1.5, -4), upper=(2, 3, 1.5, 4)):
    """URDF text of an arm family from its modified rows: a fixed joint from the root to the
    first joint carries the base, one after the last joint the flange. Joints 1-4 are
    revolute with the limits given, joints 5 and 6 continuous."""
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


def test_the_test_trees_urdf_is_the_arm_of_its_rows():
    # The file's own comment gives its modified rows; joints 2 and 5 turn the other way.
    path = pathlib.Path(__file__).parents[2] / "test" / "urdf" / "fkik_spherical_wrist.urdf"
    if not path.exists():
        pytest.skip(f"{path} is not in this tree")
    rows = [(0, 0, 0.4, 0.3), (0.05, -PI / 2, 0, 0), (0.45, 0, 0.02, -0.2), (0.04, -PI / 2, 0.42, 0),
            (0, PI / 2, 0, 0), (0, -PI / 2, 0.1, 0)]
    arm, q = Arm.from_urdf(path), joints("generic", 50)
    expected = Arm.from_dh(rows, "modified", [1, -1, 1, 1, -1, 1]).fk_many(q, TOOL)
    assert np.abs(arm.fk_many(q, TOOL) - expected).max() < 1e-12
    assert arm.layout["family"] == "spherical wrist"


def test_limits_are_kept():
    lower, upper = [-1, -2, -math.inf, -3, -4, -5], [1, 2, math.inf, 3, 4, 5.5]
    arm = Arm.from_dh(SAMPLE_ARM, "modified", lower=lower, upper=upper)
    assert arm.lower.tolist() == lower and arm.upper.tolist() == upper
    assert np.isinf(Arm.from_dh(SAMPLE_ARM, "modified").lower).all()


GOOD = dict(rows=SAMPLE_ARM, convention="standard")
ARM = Arm.from_dh(**GOOD)


def built(**changes):
    return lambda: Arm.from_dh(**{**GOOD, **changes})


def scaled(pose, factor):
    m = frame(pose)
    m[:3, :3] *= factor
    return m


@pytest.mark.parametrize("call, error, message", [
    (lambda: Arm(), TypeError, "No constructor"),
    (built(rows=np.zeros((6, 3))), ValueError, r"rows must have shape \(6, 4\), got \(6, 3\)"),
    (built(rows=np.full((6, 4), math.inf)), ValueError, "rows must be finite"),
    (built(rows=[["a"] * 4] * 6), TypeError, "rows must hold numbers"),
    (built(convention="craig"), ValueError, 'convention must be "standard" or "modified", got "craig"'),
    (built(convention=0), TypeError, "convention must be a str"),
    (built(signs=[1, 1, 0.5, 1, 1, 1]), ValueError, "the sign of joint 3 is 0.5, not \\+1 or -1"),
    (built(signs=[1, 1, 1, 1, 1, math.nan]), ValueError, "the sign of joint 6 is nan"),
    (built(signs=[1] * 5), ValueError, r"signs must have shape \(6,\)"),
    (built(base=np.diag([1, 1, -1, 1.0])), ValueError, "base frame: the rotation is a reflection"),
    (built(base=scaled((0, 0, 0, 0.1, 0.2, 0.3), 1 + 1e-6)), ValueError, "base frame: the rotation is not orthonormal"),
    (built(flange=trans(0, math.nan, 0)), ValueError, "flange frame: a translation element is not finite"),
    (built(flange=np.where(np.eye(4) == 1, [1, 1, math.inf, 1], 0)), ValueError, "flange frame: a rotation element"),
    (built(flange=np.r_[trans(1, 0, 0)[:3], [[0, 0, 0.1, 1]]]), ValueError, "flange frame: the bottom row"),
    (built(base=np.eye(3)), ValueError, r"base must have shape \(4, 4\)"),
    (built(lower=[0, math.nan, 0, 0, 0, 0]), ValueError, "joint 2 limits: lower nan is not at most upper inf"),
    (built(lower=[0, 0, 0, 1, 0, 0], upper=[0] * 6), ValueError, "joint 4 limits: lower 1 is not at most upper 0"),
    (built(upper=[0] * 7), ValueError, r"upper must have shape \(6,\)"),
    (lambda: ARM.fk([0] * 5), ValueError, r"q must have shape \(6,\), got \(5,\)"),
    (lambda: ARM.fk([0, 0, 0, math.nan, 0, 0]), ValueError, r"q must be finite: element 3"),
    (lambda: ARM.fk(None), TypeError, "q must be an array"),
    (lambda: ARM.fk(Q0, tool=[0, 0, 0, math.inf, 0, 0]), ValueError, "tool must be finite"),
    (lambda: ARM.jacobian(Q0, tool=[0] * 3), ValueError, r"tool must have shape \(6,\)"),
    (lambda: ARM.jacobian_dot(Q0, [math.inf] * 6), ValueError, "qd must be finite"),
    (lambda: ARM.fk_many(np.zeros((4, 5))), ValueError, r"Q must have shape \(n, 6\)"),
    (lambda: ARM.fk_many(np.zeros((4, 6)), threads=0), ValueError, "threads must be None or at least 1"),
    (lambda: ARM.fk_many(np.zeros((4, 6)), threads=1.5), TypeError, "threads must be an int"),
    (lambda: ARM.ik_all([0] * 5), ValueError, r"pose must have shape \(6,\), got \(5,\)"),
    (lambda: ARM.ik_nearest(Q0, [0, 0, math.nan, 0, 0, 0]), ValueError, "ref must be finite: element 2"),
    (lambda: ARM.ik_nearest(Q0, Q0, lower=[0, math.nan, 0, 0, 0, 0]), ValueError, "lower must be free of NaN"),
    (lambda: ARM.ik_all_many(np.zeros((4, 5))), ValueError, r"poses must have shape \(n, 6\)"),
    (lambda: ARM.ik_nearest_many(np.zeros((4, 6)), np.zeros((3, 6))), ValueError,
     r"refs must have shape \(6,\) or \(4, 6\)"),
    (lambda: ARM.ik_nearest_many(np.zeros((4, 6)), Q0, threads=0), ValueError, "threads must be None or at least 1"),
    (lambda: Arm.from_urdf("/nonexistent/arm.urdf"), OSError, "cannot read '/nonexistent/arm.urdf': No such file"),
    (lambda: Arm.from_urdf(pathlib.Path(__file__).parent), OSError, "Is a directory"),
    (lambda: Arm.from_urdf(3), TypeError, "path must be a str, bytes or os.PathLike, not int"),
    (lambda: Arm.from_urdf(__file__ + "\0.urdf"), ValueError, "path must not contain a null byte"),
    (lambda: Arm.from_urdf_string("<robot"), ValueError, "the URDF parser refused the text"),
    (lambda: Arm.from_urdf_string(None), TypeError, "xml must be a str or bytes"),
    (lambda: Arm.from_urdf_string(urdf("skewed"), tip_link="link4"), ValueError, "holds 4 moving joints, not six"),
    (lambda: Arm.from_urdf_string(urdf("skewed"), base_link="shoulder"), ValueError, "'shoulder' is not a link"),
    (lambda: Arm.from_urdf_string(urdf("skewed"), base_link=0), TypeError, "base_link must be a str or None"),
    (lambda: Arm.from_urdf_string(urdf("skewed", lower=[1] * 4, upper=[0] * 4)), ValueError,
     "joint 1 limits: lower 1 is not at most upper 0")])
def test_refusals(call, error, message):
    with pytest.raises(error, match=message):
        call()


OFF_FORM = np.array(SAMPLE_ARM) + 0.01 * (np.arange(24).reshape(6, 4) == 5)  # joint 2's twist
INVERSE_CALLS = {"ik": lambda r, p: r.ik(p, Q0), "ik_all": lambda r, p: r.ik_all(p, Q0),
                 "ik_nearest": lambda r, p: r.ik_nearest(p, Q0, lower=[-7] * 6),
                 "ik_many": lambda r, p: (r.ik_many([p] * 3, Q0)[0][0],)}


@pytest.mark.parametrize("call", INVERSE_CALLS)
def test_robot_inverse_refuses_arms_of_another_form(call):
    assert INVERSE_CALLS[call](ROBOT, ROBOT.fk(Q0))[0] == Code.SOLVED
    off = Robot(OFF_FORM)
    with pytest.raises(ValueError, match=f"^{call}: this arm is not of the form the designed inverse solver is "
                                         r"exact for \(check_arm_form 6: alpha of joint 2, mdh\[1, 1\]\).*fk_ik\.Arm"):
        INVERSE_CALLS[call](off, off.fk(Q0))


def test_robot_forward_calls_serve_arms_of_another_form():
    off, arm, q = Robot(OFF_FORM), Arm.from_dh(OFF_FORM, "modified"), joints("generic", 50)
    assert off.arm_form == 6 and check_arm_form(OFF_FORM) == 6
    assert np.abs(off.fk_many(q, TOOL) - arm.fk_many(q, TOOL)).max() < 1e-12
    for x in q:
        assert np.abs(off.jacobian(x, TOOL) - arm.jacobian(x, TOOL)).max() < 1e-12


def test_reach_map_refuses_an_arm_of_another_form(tmp_path, capsys):
    (path := tmp_path / "arm.txt").write_text("\n".join(" ".join(map(repr, row)) for row in OFF_FORM))
    with pytest.raises(SystemExit) as exit:
        reach.main(["--arm", str(path), "--resolution", "4", "--output", str(tmp_path / "map.png")])
    assert exit.value.code == 2 and not (tmp_path / "map.png").exists()
    assert "alpha of joint 2 breaks its form, check_arm_form 6" in capsys.readouterr().err
    with pytest.raises(ValueError, match="ik_many: this arm is not of the form"):
        reach.reach_map(Robot(OFF_FORM), resolution=4)


# Arm's inverse: the sample arm from its modified rows (with the designed family's senses,
# base and flange) and the spherical-wrist family from its standard rows, in closed form;
# the skewed family by elimination; the degenerate arm (rows all zero: every axis the
# base's z axis) has none.
INVERSE_ARMS = ["designed", "spherical_wrist"]
DEGENERATE = Arm.from_dh(np.zeros((6, 4)), "standard")


def inverse_arm(name):
    if name == "spherical_wrist":
        return both_ways(name)[0]
    _, signs, base, flange = ARMS["designed"]
    return Arm.from_dh(SAMPLE_ARM, "modified", signs, frame(base), frame(flange))


def wrapped(x):
    return (x + PI) % (2 * PI) - PI


def far_pose(arm):
    return np.r_[10 * arm.layout["size"], 0, 0, 0.1, 0.2, 0.3]


def same(answer, expected):
    return answer[0] == expected[0] and answer[1].tobytes() == np.asarray(expected[1], float).tobytes()


@pytest.mark.parametrize("name", INVERSE_ARMS)
def test_ik_all_holds_the_producing_joints_and_only_solutions(name):
    arm = inverse_arm(name)
    for q in joints("generic", 100, seed=11):
        pose = arm.fk(q, TOOL)
        Q, singular = arm.ik_all(pose, TOOL)
        assert 1 <= len(Q) <= 16 and Q.shape == (len(singular), 6) and singular.dtype == bool
        assert ((Q > -PI) & (Q <= PI)).all() and not singular.any()
        assert np.abs(wrapped(Q - q)).max(axis=1).min() < 1e-9
        assert max(off_by(p, frame(pose)) for p in arm.fk_many(Q, TOOL)) < 1e-9
    # Joint 5 at zero lines up axes 4 and 6: the solutions there lie on a continuum.
    Q, singular = arm.ik_all(arm.fk(np.r_[Q0[:4], 0, Q0[5]], TOOL), TOOL)
    on_it = np.abs(wrapped(Q[:, 4])) < 1e-9
    assert on_it.any() and (singular == on_it).all()
    Q, singular = arm.ik_all(far_pose(arm), TOOL)
    assert Q.shape == (0, 6) and singular.shape == (0,)
    assert same(arm.ik_nearest(far_pose(arm), Q0, TOOL), (Code.OUT_OF_REACH, np.zeros(6)))


@pytest.mark.parametrize("name", INVERSE_ARMS)
def test_ik_nearest_gives_back_the_producing_joints_in_their_turns(name):
    arm, rng, tested = inverse_arm(name), np.random.default_rng(12), 0
    for q in joints("beyond_pi", 100, seed=13):
        pose, ref = arm.fk(q, TOOL), q + rng.choice([-0.05, 0.05], 6)
        # With every other solution over 0.1 from q (not near a singular pose), q is nearest.
        apart = np.abs(wrapped(arm.ik_all(pose, TOOL)[0] - q)).max(axis=1)
        if (apart > 0.1).sum() < len(apart) - 1:
            continue
        code, x = arm.ik_nearest(pose, ref, TOOL)
        assert code is Code.SOLVED and np.abs(x - q).max() < 1e-9
        tested += 1
    assert tested >= 90


def test_ik_nearest_keeps_to_the_limits_given_or_else_the_arms_own():
    rows, signs, base, flange = ARMS["spherical_wrist"]
    arm, q = inverse_arm("spherical_wrist"), np.array(Q0)
    pose = arm.fk(q, TOOL)
    Q = arm.ik_all(pose, TOOL)[0]
    other = Q[np.abs(wrapped(Q - q)).max(axis=1) > 0.1][0]
    around = dict(lower=other - 0.01, upper=other + 0.01)
    limited = Arm.from_dh(rows, "standard", signs, frame(base), frame(flange), **around)
    for (code, x), expected in ((arm.ik_nearest(pose, q, TOOL, **around), other),
                                (limited.ik_nearest(pose, q, TOOL), other),
                                (limited.ik_nearest(pose, q, TOOL, [-math.inf] * 6, [math.inf] * 6), q)):
        assert code is Code.SOLVED and np.abs(x - expected).max() < 1e-9
    # A side given replaces that side of the arm's own limits only.
    for side, opposite, unlimited in ("lower", "upper", -math.inf), ("upper", "lower", math.inf):
        answer = limited.ik_nearest(pose, q, TOOL, **{side: [unlimited] * 6})
        assert same(answer, arm.ik_nearest(pose, q, TOOL, **{side: [unlimited] * 6, opposite: around[opposite]}))
        assert answer[0] is Code.SOLVED and not np.allclose(answer[1], q)
    assert same(arm.ik_nearest(pose, q, TOOL, other + 0.01, other + 0.02), (Code.NO_SOLUTION, np.zeros(6)))
    assert same(arm.ik_nearest(pose, q, TOOL, q, q - 1), (Code.INVALID_LIMITS, np.zeros(6)))


@pytest.mark.parametrize("threads", [1, 2])
def test_inverse_batches_equal_single_calls(threads):
    arm = inverse_arm("designed")
    q = joints("beyond_pi", 520, seed=20 + threads)
    poses = arm.fk_many(q, TOOL)
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
    assert [a.shape for a in arm.ik_all_many(np.empty((0, 6)), threads=threads)] == [(0,), (0, 16, 6), (0, 16)]
    assert [a.shape for a in arm.ik_nearest_many(np.empty((0, 6)), Q0, threads=threads)] == [(0,), (0, 6)]


def test_the_layout_names_the_solver_and_elimination_answers_a_general_arm():
    """The skewed arm, every parameter of its own, in both conventions: its solutions reach
    the pose by fk and by the numpy product, hold the producing joints, and batches and the
    nearest solution agree with them."""
    assert all(inverse_arm(name).layout["solver"] == "closed form" for name in INVERSE_ARMS)
    standard, modified, tcp = both_ways("skewed")
    arms, tested = (standard, modified), 0
    assert all(arm.layout["family"] == "general" and arm.layout["solver"] == "elimination" for arm in arms)
    q = joints("generic", 40, seed=17)
    poses = standard.fk_many(q, TOOL)
    for arm in arms:
        counts, many, _ = arm.ik_all_many(poses, TOOL, threads=2)
        for x, pose, count, rows in zip(q, poses, counts, many):
            Q, singular = arm.ik_all(pose, TOOL)
            assert 1 <= len(Q) <= 16 and len(singular) == len(Q) and Q.tobytes() == rows[:count].tobytes()
            assert np.abs(wrapped(Q - x)).max(axis=1).min() < 1e-9
            assert max(off_by(p, tcp(x, TOOL)) for p in arm.fk_many(Q, TOOL)) < 1e-9
            assert max(np.abs(tcp(y, TOOL) - tcp(x, TOOL)).max() for y in Q) < 1e-9
            # x is the nearest solution to a reference beside it unless another is close.
            if (np.abs(wrapped(Q - x)).max(axis=1) > 0.1).sum() == len(Q) - 1:
                code, y = arm.ik_nearest(pose, x + 0.05, TOOL)
                assert code is Code.SOLVED and np.abs(y - x).max() < 1e-9
                tested += 1
        Q, singular = arm.ik_all(far_pose(arm), TOOL)
        assert Q.shape == (0, 6) and singular.shape == (0,)
    assert tested >= 60


@pytest.mark.parametrize("call, inverse", [
    ("ik_all", lambda arm: arm.ik_all(Q0)),
    ("ik_nearest", lambda arm: arm.ik_nearest(Q0, Q0)),
    ("ik_nearest", lambda arm: arm.ik_nearest(Q0, Q0, lower=[1] * 6, upper=[0] * 6)),
    ("ik_all_many", lambda arm: arm.ik_all_many(np.empty((0, 6)))),
    ("ik_nearest_many", lambda arm: arm.ik_nearest_many(np.empty((0, 6)), Q0))])
def test_inverse_refuses_a_degenerate_arm(call, inverse):
    with pytest.raises(ValueError, match=rf"^{call}: this arm is degenerate \(coincident axes\) and has no inverse$"):
        inverse(DEGENERATE)


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
