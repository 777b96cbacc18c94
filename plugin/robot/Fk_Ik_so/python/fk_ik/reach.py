"""Reachability map: where in a plane the arm reaches a fixed TCP orientation.

    python3 -m fk_ik.reach [--plane xy|xz|yz] [--at VALUE] [--extent U0 U1 V0 V1]
                           [--resolution N] [--rpy ROLL PITCH YAW] [--tool X Y Z RX RY RZ]
                           [--ref Q1 ... Q6] [--mode M] [--arm FILE] [--unit TEXT]
                           [--size WIDTH HEIGHT] [--threads N] [--output FILE.png]

Every cell of an N x N grid over the plane is a TCP pose (the cell's centre, the given
orientation) solved with Robot.ik_many in the configuration of the reference joint
position, or in configuration mode M; the cell takes the colour of the result code. Lengths are in the arm's
unit, angles in radians. The arm must be of the form the inverse solver is exact for
(fk_ik.check_arm_form 0): for any other, the map is refused.
"""

import argparse
import math
import sys
import time

import numpy as np

from . import Code, Robot, SAMPLE_ARM

# The colour of each code the map can show, and its legend text.
COLOURS = {
    Code.SOLVED: "#4daf4a",
    Code.SHOULDER_SINGULAR: "#e41a1c",
    Code.ELBOW_SINGULAR: "#ff7f00",
    Code.WRIST_SINGULAR: "#984ea3",
    Code.OUT_OF_REACH: "#525252",
    Code.NO_SOLUTION: "#d9d9d9",
}
LABELS = {
    Code.SOLVED: "solved",
    Code.SHOULDER_SINGULAR: "shoulder singular",
    Code.ELBOW_SINGULAR: "elbow singular",
    Code.WRIST_SINGULAR: "wrist singular",
    Code.OUT_OF_REACH: "out of reach",
    Code.NO_SOLUTION: "no solution in this configuration",
}
# A reference clear of the sample arm's singular configurations (its mode 4: shoulder bit).
DEFAULT_REF = (0.0, -1.2, 1.5, -0.4, 1.1, 0.0)
# Which pose elements the plane's two axes are, and which one is fixed.
PLANES = {"xy": (0, 1, 2), "xz": (0, 2, 1), "yz": (1, 2, 0)}


def read_arm(path):
    """The 6 x 4 parameters of an arm file: six lines of a alpha d theta, joint 1 first;
    '#' starts a comment, commas count as spaces, blank lines are skipped."""
    rows = []
    with open(path, encoding="utf-8") as lines:
        for number, line in enumerate(lines, 1):
            words = line.split("#", 1)[0].replace(",", " ").split()
            if not words:
                continue
            if len(words) != 4 or len(rows) == 6:
                raise ValueError(f"{path} line {number}: expected 6 rows of a alpha d theta")
            rows.append([float(word) for word in words])
    if len(rows) != 6:
        raise ValueError(f"{path} has {len(rows)} joint rows, expected 6")
    return np.array(rows)


def default_extent(mdh, plane, tool=None):
    """A square around the base that holds everything the arm can reach: the sum of its
    lengths beyond the base joint (and the tool's), the vertical axis centred on the
    shoulder's height."""
    mdh = np.asarray(mdh, dtype=float)
    radius = 1.05 * (np.abs(mdh[:, 0]).sum() + np.abs(mdh[1:, 2]).sum()
                     + (0.0 if tool is None else float(np.linalg.norm(np.asarray(tool)[:3]))))
    v_centre = 0.0 if plane == "xy" else float(mdh[0, 2])
    return (-radius, radius, v_centre - radius, v_centre + radius)


def cell_centres(extent, resolution):
    """The grid's cell centres along the plane's two axes: u (resolution values) and v (as
    many as keep the cells square, at least one)."""
    u0, u1, v0, v1 = extent
    rows = max(1, round(resolution * (v1 - v0) / (u1 - u0)))
    u = u0 + (np.arange(resolution) + 0.5) * ((u1 - u0) / resolution)
    v = v0 + (np.arange(rows) + 0.5) * ((v1 - v0) / rows)
    return u, v


def reach_map(robot, plane="xy", at=0.0, extent=(-1, 1, -1, 1), resolution=400,
              rpy=(math.pi, 0.0, 0.0), tool=None, ref=DEFAULT_REF, mode=None, threads=None):
    """Result codes of the grid's poses, an int32 array of (rows, resolution): row 0 at the
    lowest v, column 0 at the lowest u. ValueError for a robot whose arm is not of the
    inverse solver's form (robot.arm_form not 0)."""
    u, v = cell_centres(extent, resolution)
    first, second, fixed = PLANES[plane]
    poses = np.empty((len(v), len(u), 6))
    poses[..., first] = u[np.newaxis, :]
    poses[..., second] = v[:, np.newaxis]
    poses[..., fixed] = at
    poses[..., 3:] = rpy
    codes, _ = robot.ik_many(poses.reshape(-1, 6), ref, tool=tool, mode=mode, threads=threads)
    return codes.reshape(len(v), len(u))


def colour_image(codes):
    """RGB image (floats 0 ... 1) of a code grid, one exact colour per code."""
    table = np.zeros((max(int(c) for c in Code) + 1, 3))
    for code, colour in COLOURS.items():
        table[code] = [int(colour[i:i + 2], 16) / 255 for i in (1, 3, 5)]
    return table[codes]


def draw(codes, plane, at, extent, rpy, ref, unit="m", size=(760, 480), title=None, mode=None):
    """The map as a matplotlib figure of size (width, height) pixels at 100 dpi."""
    from matplotlib.figure import Figure
    from matplotlib.lines import Line2D
    from matplotlib.patches import Patch

    figure = Figure(figsize=(size[0] / 100, size[1] / 100), dpi=100)
    axes = figure.add_axes((0.09, 0.1, 0.52, 0.82))
    axes.imshow(colour_image(codes), origin="lower", extent=extent, interpolation="nearest")
    axes.plot([0], [0], marker="P", markersize=12, color="black", linestyle="none")
    axes.set_xlabel(f"{plane[0]} [{unit}]")
    axes.set_ylabel(f"{plane[1]} [{unit}]")
    axes.set_title(title or f"{'xyz'[PLANES[plane][2]]} = {at:g} {unit}, roll pitch yaw = "
                   f"{rpy[0]:.3g} {rpy[1]:.3g} {rpy[2]:.3g} rad", fontsize=9)
    def share(code):
        percent = 100 * np.count_nonzero(codes == code) / codes.size
        return "<1" if 0 < percent < 0.5 else f"{percent:.0f}"

    handles = [Patch(color=COLOURS[code], label=f"{LABELS[code]} ({share(code)} %)")
               for code in COLOURS]
    handles.append(Line2D([], [], marker="P", color="black", linestyle="none", markersize=10,
                          label="the arm's base"))
    figure.legend(handles=handles, loc="center left", bbox_to_anchor=(0.62, 0.5), fontsize=8,
                  title="result code", title_fontsize=9, frameon=False)
    configuration = ("reference q = " + " ".join(f"{q:.3g}" for q in ref) + " rad"
                     if mode is None else f"configuration mode {mode}")
    figure.text(0.62, 0.12, configuration, fontsize=7)
    return figure


def main(argv=None):
    parser = argparse.ArgumentParser(prog="python3 -m fk_ik.reach", description=__doc__.split("\n\n")[0])
    parser.add_argument("--plane", choices=sorted(PLANES), default="xy",
                        help="the plane of the map (default xy)")
    parser.add_argument("--at", type=float, default=None, metavar="VALUE",
                        help="the plane's fixed coordinate (default 0.2 for xy, 0 otherwise)")
    parser.add_argument("--extent", type=float, nargs=4, metavar=("U0", "U1", "V0", "V1"),
                        help="the plane's ranges along its two axes (default: all the arm reaches)")
    parser.add_argument("--resolution", type=int, default=400, metavar="N",
                        help="cells along the first axis (default 400)")
    parser.add_argument("--rpy", type=float, nargs=3, default=(math.pi, 0.0, 0.0),
                        metavar=("ROLL", "PITCH", "YAW"),
                        help="the TCP orientation in radians (default pi 0 0: pointing down)")
    parser.add_argument("--tool", type=float, nargs=6, metavar=("X", "Y", "Z", "RX", "RY", "RZ"),
                        help="the TCP relative to the flange (default all zero)")
    parser.add_argument("--ref", type=float, nargs=6, default=DEFAULT_REF, metavar="Q",
                        help="the reference joint position whose configuration the map keeps")
    parser.add_argument("--mode", type=int, choices=range(8), metavar="M",
                        help="configuration mode 0 ... 7 instead of the reference's "
                             "(bits 4 shoulder, 2 elbow, 1 wrist); the reference then sets "
                             "only the turns")
    parser.add_argument("--arm", metavar="FILE",
                        help="six lines of modified DH rows a alpha d theta, of the inverse "
                             "solver's form (default: the sample arm, metres)")
    parser.add_argument("--unit", default=None,
                        help="the arm's length unit for the axes (default m for the sample arm)")
    parser.add_argument("--size", type=int, nargs=2, default=(760, 480), metavar=("WIDTH", "HEIGHT"),
                        help="the picture's size in pixels (default 760 480)")
    parser.add_argument("--threads", type=int, default=None,
                        help="worker threads (default: the machine's cores)")
    parser.add_argument("--output", default="reach.png", help="the PNG file (default reach.png)")
    args = parser.parse_args(argv)

    try:
        mdh = read_arm(args.arm) if args.arm else SAMPLE_ARM
        robot = Robot(mdh)
        if robot.arm_form != 0:
            # The inverse would answer SOLVED with joints that miss the pose: every cell
            # would be painted solved, wrongly.
            row, field = divmod(robot.arm_form - 1, 4)
            parser.error(f"{args.arm}: not an arm the inverse solver is exact for "
                         f"({('a', 'alpha', 'd', 'theta')[field]} of joint {row + 1} breaks its "
                         f"form, check_arm_form {robot.arm_form}); no reachability map")
        code, mode = robot.mode(args.ref)
        if args.mode is not None:
            mode = args.mode
        elif code != Code.SOLVED:
            parser.error(f"the reference is {LABELS[code]}: choose another --ref")
        if args.resolution < 1 or min(args.size) < 1:
            parser.error("--resolution and --size take positive numbers")
        at = args.at if args.at is not None else (0.2 if args.plane == "xy" else 0.0)
        extent = args.extent or default_extent(mdh, args.plane, args.tool)
        if extent[1] <= extent[0] or extent[3] <= extent[2]:
            parser.error("--extent needs U0 < U1 and V0 < V1")
        start = time.perf_counter()
        codes = reach_map(robot, args.plane, at, extent, args.resolution, args.rpy, args.tool,
                          args.ref, args.mode, args.threads)
        seconds = time.perf_counter() - start
    except (OSError, ValueError, TypeError) as error:
        parser.error(str(error))
    unit = args.unit or ("length unit" if args.arm else "m")
    figure = draw(codes, args.plane, at, extent, args.rpy, args.ref, unit, args.size,
                  mode=args.mode)
    figure.savefig(args.output, dpi=100)
    print(f"{args.output}: {codes.shape[1]} x {codes.shape[0]} poses in {seconds:.3f} s, "
          f"configuration mode {mode}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
