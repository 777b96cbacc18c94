"""The reach map: solution counts against Arm.ik_all and Arm.ik_nearest cell by cell, within
joint limits too; codes against Robot.ik; the picture's colours and legend for each way of
giving the arm; the refusals."""
import math
import pathlib

import matplotlib.image
import numpy as np
import pytest

from fk_ik import Arm, Code, SAMPLE_ARM, reach
from test_arm import ARMS, OFF_FORM, Q0, ROBOT

URDF = pathlib.Path(__file__).resolve().parents[2] / "test" / "urdf" / "parallel_middle.urdf"
# The same arm with limits that cut solutions away: joint 1 in [2, 7] (reached by a whole turn
# for most of its range), the elbow in [0.3, 2.5] (one of its two branches).
TIGHT = URDF.read_text().replace('lower="-6.283185307179586" upper="6.283185307179586"',
                                 'lower="2" upper="7"', 1).replace(
    'lower="-3.141592653589793" upper="3.141592653589793"', 'lower="0.3" upper="2.5"')
CELLS, AT, RPY = 20, 0.2, (math.pi, 0.0, 0.0)
GENERAL = np.random.default_rng(5).uniform(-1, 1, (6, 4))  # standard rows, every parameter its own


def extent_of(arm):
    rows, _, base, flange, _ = arm.mdh()
    return reach.default_extent(rows, "xy", None, base, flange)


def test_counts_are_those_of_ik_all_and_within_limits_those_a_whole_turn_puts_within_them():
    arm = Arm.from_urdf_string(TIGHT)
    extent = extent_of(arm)
    counts, within = reach.count_map(arm, "xy", AT, extent, CELLS, RPY, threads=2)
    assert counts.max() == 8 and np.all(counts % 2 == 0) and np.any(within < counts) and np.any(within > 0)
    # The file's own limits, a whole turn either way, hold every solution.
    assert np.array_equal(reach.count_map(Arm.from_urdf(str(URDF)), "xy", AT, extent, CELLS, RPY)[1], counts)
    lower, upper, turns = np.array(arm.lower), np.array(arm.upper), 2 * math.pi * np.arange(-2, 3)
    u, v = reach.cell_centres(extent, CELLS)
    for i, j in np.ndindex(counts.shape):
        Q, _ = arm.ik_all(pose := [u[j], v[i], AT, *RPY])
        variants = Q[:, :, np.newaxis] + turns  # k x 6 x 5
        fits = ((variants >= lower[:, np.newaxis]) & (variants <= upper[:, np.newaxis])).any(axis=2)
        assert len(Q) == counts[i, j] and within[i, j] == fits.all(axis=1).sum()
        assert (arm.ik_nearest(pose, ref=np.zeros(6))[0] == 0) == (within[i, j] > 0)
    # The flange lies within 0.425 + |(0.3922, 0.1333)| + 0.0997 + 0.0996 of the shoulder (0, 0, 0.1625).
    far = np.hypot(u[np.newaxis, :], v[:, np.newaxis]) ** 2 + (AT - 0.1625) ** 2 > 1.04 ** 2
    assert far.sum() > 50 and not counts[far].any()


@pytest.mark.parametrize("source", ["sample", "urdf", "world", "arm", "dh", "general"])
def test_picture_colours_are_the_codes_or_the_counts(tmp_path, capsys, source):
    path, size, signs, at, rpy = tmp_path / "map.png", (900, 400), ["1", "-1", "1", "1", "-1", "1"], AT, RPY
    if source == "sample":  # no arm given: the designed functions' codes for the sample arm
        arm, args = None, []
    elif source == "urdf":  # the tight limits, with the second panel
        (description := tmp_path / "tight.urdf").write_text(TIGHT)
        arm, args = Arm.from_urdf(str(description)), ["--urdf", str(description), "--within-limits"]
    elif source == "world":  # poses in the world link's frame, the arm standing elsewhere
        arm, at = Arm.from_urdf(str(URDF), "world", "flange"), 0.9
        args = ["--urdf", str(URDF), "--base", "world", "--tip", "flange", "--at", "0.9"]
    elif source == "general":  # random rows answered by elimination, at a pose they reach
        np.savetxt(description := tmp_path / "general.txt", GENERAL)
        arm = Arm.from_dh(GENERAL, "standard")
        at, rpy = arm.fk(Q0)[2], tuple(arm.fk(Q0)[3:])
        args = ["--dh", str(description), "--at", str(at), "--rpy", *map(str, rpy)]
    else:
        rows, convention = (SAMPLE_ARM, "modified") if source == "arm" else (ARMS["spherical_wrist"][0], "standard")
        np.savetxt(description := tmp_path / "rows.txt", rows)
        arm = Arm.from_dh(rows, convention, signs=[float(s) for s in signs])
        args = [f"--{source}", str(description), "--signs", *signs]
    assert reach.main([*args, "--resolution", str(CELLS), "--size", *map(str, size),
                       "--output", str(path)]) == 0
    image = matplotlib.image.imread(path)
    assert image.shape[:2] == (size[1], size[0])
    if arm is None:  # the codes against direct calls
        extent, ref = reach.default_extent(SAMPLE_ARM, "xy"), reach.DEFAULT_REF
        u, v = reach.cell_centres(extent, CELLS)
        grids, colour, radius = [reach.reach_map(ROBOT, "xy", at, extent, CELLS)], reach.colour_image, math.inf
        assert grids[0].tolist() == [[ROBOT.ik([x, y, at, *rpy], ref)[0] for x in u] for y in v]
        assert set(grids[0].ravel()) == {Code.SOLVED, Code.OUT_OF_REACH, Code.NO_SOLUTION}
        figure = reach.draw(grids[0], "xy", at, extent, rpy, ref, size=size)
    else:  # the default extent holds all the arm reaches; a colour of its own for each count
        extent, (family, solver) = extent_of(arm), (arm.layout["family"], arm.layout["solver"])
        counts, within = reach.count_map(arm, "xy", at, extent, CELLS, rpy, threads=2)
        assert counts.any() and not counts[[0, -1]].any() and not counts[:, [0, -1]].any()
        assert f", {family}, up to {counts.max()} solutions" in capsys.readouterr().out
        assert len({reach.count_colour(n) for n in range(reach.MOST_SOLUTIONS + 1)}) == 10
        grids, colour, radius = [counts, within][:1 + (source == "urdf")], reach.count_image, \
            reach.reach_radius(counts, extent)
        figure = reach.draw_counts(counts, within if source == "urdf" else None, "xy", at, extent, rpy, size=size,
                                   family=family, solver=solver)
        assert " ".join(" ".join(t.get_text().split()) for t in figure.texts) == f"layout: {family} inverse: {solver}"
    # The same figure again maps cell centres to pixels: cells clear of the base's cross and
    # the reach circle show their colour.
    figure.savefig(tmp_path / "again.png", dpi=100)
    u, v = reach.cell_centres(extent, CELLS)
    distance, cell = np.hypot(u[np.newaxis, :], v[:, np.newaxis]), u[1] - u[0]
    clear = (distance > 1.5 * cell) & (np.abs(distance - radius) > 0.7 * cell)
    assert len(figure.axes) == len(grids)
    for axes, grid in zip(figure.axes, grids):
        for i, j in np.argwhere(clear):
            x, y = axes.transData.transform((u[j], v[i]))
            assert np.abs(image[int(size[1] - y), int(x), :3] - colour(grid[i, j])).max() < 1 / 255


@pytest.mark.parametrize("args, message", [
    (["--dh", "{degenerate}"], "a degenerate arm (coincident axes) has no inverse; no map of solution counts"),
    (["--within-limits"], "--within-limits goes with --urdf"),
    (["--urdf", str(URDF), "--mode", "3"], "--ref and --mode choose the designed arm's configuration"),
    (["--dh", "{general}", "--tip", "flange"], "--base and --tip go with --urdf"),
    (["--signs", "1", "1", "1", "1", "1", "1"], "--signs goes with --dh or --arm"),
    (["--arm", "{off_form}"], "alpha of joint 2 breaks its form, check_arm_form 6")])
def test_refusals_exit_2_with_a_message_and_no_picture(tmp_path, capsys, args, message):
    np.savetxt(general := tmp_path / "general.txt", GENERAL)
    np.savetxt(degenerate := tmp_path / "degenerate.txt", np.zeros((6, 4)))  # every axis z
    np.savetxt(off_form := tmp_path / "off_form.txt", OFF_FORM)
    with pytest.raises(SystemExit) as exit:
        reach.main([arg.format(general=general, degenerate=degenerate, off_form=off_form) for arg in args]
                   + ["--resolution", "4", "--output", str(tmp_path / "map.png")])
    assert exit.value.code == 2 and not (tmp_path / "map.png").exists()
    assert message in capsys.readouterr().err
