"""The reach map's solution counts for fk_ik.Arm: against Arm.ik_all and Arm.ik_nearest cell
by cell, within joint limits, the picture's colours and legend, an arm answered by
elimination, and the refusals."""
import math
import pathlib

import matplotlib.image
import numpy as np
import pytest

from fk_ik import Arm, SAMPLE_ARM, reach

URDF = pathlib.Path(__file__).resolve().parents[2] / "test" / "urdf" / "parallel_middle.urdf"
# The same arm with limits that cut solutions away: joint 1 in [2, 7] (reached by a whole turn
# for most of its range), the elbow in [0.3, 2.5] (one of its two branches).
TIGHT = URDF.read_text().replace('lower="-6.283185307179586" upper="6.283185307179586"',
                                 'lower="2" upper="7"', 1).replace(
    'lower="-3.141592653589793" upper="3.141592653589793"', 'lower="0.3" upper="2.5"')
# Spherical-wrist standard rows a, alpha, d, theta.
WRIST_ROWS = [[0.15, -math.pi / 2, 0.45, 0], [0.6, 0, 0, -math.pi / 2], [0.12, -math.pi / 2, 0, 0],
              [0, math.pi / 2, 0.64, 0], [0, -math.pi / 2, 0, 0], [0, 0, 0.1, 0]]
CELLS, AT, RPY = 20, 0.2, (math.pi, 0.0, 0.0)


def extent_of(arm):
    rows, _, base, flange, _ = arm.mdh()
    return reach.default_extent(rows, "xy", None, base, flange)


def counts_of(arm, at=AT):
    return reach.count_map(arm, "xy", at, extent_of(arm), CELLS, RPY, threads=2)


def pose(arm, i, j):
    u, v = reach.cell_centres(extent_of(arm), CELLS)
    return [u[j], v[i], AT, *RPY]


def test_counts_are_those_of_ik_all_and_zero_beyond_the_reach():
    arm = Arm.from_urdf(str(URDF))
    counts, within = counts_of(arm)
    assert counts.shape == (CELLS, CELLS) and counts.max() == 8 and np.all(counts % 2 == 0)
    assert np.array_equal(within, counts)  # the file's limits hold every solution
    # Two cells of each count, drawn with a fixed seed, against the single call.
    rng = np.random.default_rng(11)
    for value in (0, 4, 8):
        for i, j in rng.permutation(np.argwhere(counts == value))[:2]:
            assert len(arm.ik_all(pose(arm, i, j))[0]) == value
    # The flange lies within 0.425 + |(0.3922, 0.1333)| + 0.0997 + 0.0996 of the shoulder
    # (0, 0, 0.1625).
    u, v = reach.cell_centres(extent_of(arm), CELLS)
    far = np.hypot(u[np.newaxis, :], v[:, np.newaxis]) ** 2 + (AT - 0.1625) ** 2 > 1.04 ** 2
    assert far.sum() > 50 and not counts[far].any()


def test_counts_within_limits_are_the_solutions_a_whole_turn_puts_within_them():
    arm = Arm.from_urdf_string(TIGHT)
    counts, within = counts_of(arm)
    assert np.all(within <= counts) and np.any(within < counts) and np.any(within > 0)
    lower, upper, turns = np.array(arm.lower), np.array(arm.upper), 2 * math.pi * np.arange(-2, 3)
    for i, j in np.ndindex(counts.shape):
        Q, _ = arm.ik_all(pose(arm, i, j))
        variants = Q[:, :, np.newaxis] + turns  # k x 6 x 5
        fits = ((variants >= lower[:, np.newaxis]) & (variants <= upper[:, np.newaxis])).any(axis=2)
        assert within[i, j] == fits.all(axis=1).sum()
        code, _ = arm.ik_nearest(pose(arm, i, j), ref=np.zeros(6))
        assert (code == 0) == (within[i, j] > 0)


@pytest.mark.parametrize("source", ["urdf", "world", "arm", "dh"])
def test_picture_colours_are_the_counts(tmp_path, source):
    path, size, signs, at = tmp_path / "map.png", (900, 400), ["1", "-1", "1", "1", "-1", "1"], AT
    if source == "urdf":  # the tight limits, with the second panel
        (description := tmp_path / "tight.urdf").write_text(TIGHT)
        arm, args = Arm.from_urdf(str(description)), ["--urdf", str(description), "--within-limits"]
    elif source == "world":  # poses in the world link's frame, the arm standing elsewhere
        arm, at = Arm.from_urdf(str(URDF), "world", "flange"), 0.9
        args = ["--urdf", str(URDF), "--base", "world", "--tip", "flange", "--at", "0.9"]
    else:
        rows, convention = (SAMPLE_ARM, "modified") if source == "arm" else (WRIST_ROWS, "standard")
        np.savetxt(description := tmp_path / "rows.txt", rows)
        arm = Arm.from_dh(rows, convention, signs=[float(s) for s in signs])
        args = [f"--{source}", str(description), "--signs", *signs]
    assert reach.main([*args, "--resolution", str(CELLS), "--size", *map(str, size),
                       "--output", str(path)]) == 0
    assert path.read_bytes()[:8] == b"\x89PNG\r\n\x1a\n"
    image = matplotlib.image.imread(path)
    assert image.shape[:2] == (size[1], size[0])
    # The same figure again maps cell centres to pixels; cells clear of the base's cross and
    # the reach circle show their count's colour, one of its own for each count.
    assert len({reach.count_colour(n) for n in range(reach.MOST_SOLUTIONS + 1)}) == 10
    counts, within = counts_of(arm, at)  # the default extent holds all the arm reaches
    assert counts.any() and not counts[[0, -1]].any() and not counts[:, [0, -1]].any()
    grids = [counts, within] if source == "urdf" else [counts]
    figure = reach.draw_counts(counts, within if source == "urdf" else None, "xy", at, extent_of(arm), RPY,
                               size=size)
    figure.savefig(tmp_path / "again.png", dpi=100)
    u, v = reach.cell_centres(extent_of(arm), CELLS)
    distance, cell = np.hypot(u[np.newaxis, :], v[:, np.newaxis]), u[1] - u[0]
    radius = reach.reach_radius(counts, extent_of(arm))
    clear = (distance > 1.5 * cell) & (np.abs(distance - radius) > 0.7 * cell)
    assert len(figure.axes) == len(grids)
    for axes, grid in zip(figure.axes, grids):
        for i, j in np.argwhere(clear):
            x, y = axes.transData.transform((u[j], v[i]))
            assert np.abs(image[int(size[1] - y), int(x), :3] - reach.count_image(grid[i, j])).max() < 1 / 255


def test_a_general_arm_is_mapped_and_the_legend_names_its_solver(tmp_path, capsys):
    """Standard rows with every parameter random: elimination's counts, cell by cell those of
    Arm.ik_all, and a legend naming the layout and the solver. The plane and orientation
    are those of a pose the arm reaches."""
    rows = np.random.default_rng(5).uniform(-1, 1, (6, 4))
    np.savetxt(general := tmp_path / "general.txt", rows)
    arm = Arm.from_dh(rows, "standard")
    assert arm.layout["solver"] == "elimination"
    reached = arm.fk([0.3, -1.2, 1.5, -0.4, 1.1, 0.2])
    at, rpy, extent = reached[2], reached[3:], extent_of(arm)
    counts, within = reach.count_map(arm, "xy", at, extent, CELLS, rpy, threads=2)
    assert counts.any() and np.array_equal(within, counts)  # rows carry no limits
    u, v = reach.cell_centres(extent, CELLS)
    rng = np.random.default_rng(12)
    for value in np.unique(counts):  # ten cells of each count, drawn with a fixed seed
        for i, j in rng.permutation(np.argwhere(counts == value))[:10]:
            assert len(arm.ik_all([u[j], v[i], at, *rpy])[0]) == value
    assert reach.main(["--dh", str(general), "--at", str(at), "--rpy", *map(str, rpy), "--resolution", "4",
                       "--output", str(tmp_path / "map.png")]) == 0
    assert (tmp_path / "map.png").read_bytes()[:8] == b"\x89PNG\r\n\x1a\n"
    assert ", general, up to " in capsys.readouterr().out
    for solver in "elimination", "closed form of the nearest solvable arm, chain reversed, refined":
        figure = reach.draw_counts(counts, None, "xy", AT, extent_of(arm), RPY, family="general",
                                   solver=solver)
        text = " ".join(" ".join(t.get_text().split()) for t in figure.texts)
        assert text == f"layout: general inverse: {solver}"


@pytest.mark.parametrize("args, message", [
    (["--dh", "{degenerate}"], "a degenerate arm (coincident axes) has no inverse; no map of solution counts"),
    (["--within-limits"], "--within-limits goes with --urdf"),
    (["--urdf", str(URDF), "--mode", "3"], "--ref and --mode choose the designed arm's configuration"),
    (["--dh", "{general}", "--tip", "flange"], "--base and --tip go with --urdf"),
    (["--signs", "1", "1", "1", "1", "1", "1"], "--signs goes with --dh or --arm")])
def test_refusals_exit_2_with_a_message_and_no_picture(tmp_path, capsys, args, message):
    np.savetxt(general := tmp_path / "general.txt", np.random.default_rng(5).uniform(-1, 1, (6, 4)))
    np.savetxt(degenerate := tmp_path / "degenerate.txt", np.zeros((6, 4)))  # every axis z
    with pytest.raises(SystemExit) as exit:
        reach.main([arg.format(general=general, degenerate=degenerate) for arg in args]
                   + ["--resolution", "4", "--output", str(tmp_path / "map.png")])
    assert exit.value.code == 2 and not (tmp_path / "map.png").exists()
    assert message in capsys.readouterr().err
