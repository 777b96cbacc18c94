"""Reachability map: where in a plane the arm reaches a fixed TCP orientation.

    python3 -m fk_ik.reach [--plane xy|xz|yz] [--at VALUE] [--extent U0 U1 V0 V1]
                           [--resolution N] [--rpy ROLL PITCH YAW] [--tool X Y Z RX RY RZ]
                           [--ref Q1 ... Q6] [--mode M] [--arm FILE] [--unit TEXT]
                           [--size WIDTH HEIGHT] [--threads N] [--output FILE.png]
    python3 -m fk_ik.reach (--urdf FILE [--base LINK] [--tip LINK] | --dh FILE [--signs S1 ... S6]
                            | --arm FILE --signs S1 ... S6) [--within-limits] [the options
                           above but --ref and --mode]

The designed arm (the sample arm, or --arm FILE alone): every cell of an N x N grid over
the plane is a TCP pose (the cell's centre, the given orientation) solved with
Robot.ik_many in the configuration of the reference joint position, or in configuration
mode M; the cell takes the colour of the result code. The arm must be of the form the
inverse solver is exact for (fk_ik.check_arm_form 0): for any other, the map is refused.

Any arm of six revolute joints (fk_ik.Arm: a URDF chain, standard DH rows --dh, or modified
rows --arm with joint senses --signs): every cell's pose is solved with Arm.ik_all_many and
the cell takes the colour of its number of solutions, 0, 2, 4 ... 16 (an odd count, where
solutions meet at a singular pose, has a colour of its own). --within-limits adds a second
panel that counts only the solutions within the arm's joint limits, each joint or a
whole-turn variant of it within [lower, upper] (rows carry no limits: the same counts). A
cross marks the origin of the arm's base frame (the URDF's base link, the rows' first
frame) projected into the plane; a dashed circle around it passes through the farthest
cell with a solution; the legend names the layout's family and the solver that answers it
(a closed form, or elimination). A degenerate arm, whose axes coincide so that it has no
inverse, is refused with exit status 2.

Lengths are in the arm's unit (URDF: metres), angles in radians.
"""

import argparse
import math
import sys
import textwrap
import time

import numpy as np

from . import Arm, Code, Robot, SAMPLE_ARM

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
# The colour of each number of solutions of an arm's inverse (at most 16): grey for none,
# then a ramp from yellow through red and violet to teal over the even counts. An odd count
# (two solutions met at a singular pose and counted once) has a colour of its own.
COUNT_COLOURS = {0: "#d9d9d9", 2: "#f6e05e", 4: "#f6a04d", 6: "#e8603c", 8: "#c2185b",
                 10: "#8e24aa", 12: "#5e35b1", 14: "#1e88e5", 16: "#00838f"}
ODD_COLOUR = "#7cb342"
MOST_SOLUTIONS = 16
# Poses per call of the arm's batch inverse: bounds the memory its n x 16 x 6 answer takes.
COUNT_CHUNK = 1 << 14


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


def default_extent(mdh, plane, tool=None, base=None, flange=None):
    """A square that holds everything the arm can reach: half its side the sum of the
    lengths beyond the base joint (and the flange's and the tool's), centred on the first
    joint's frame origin (on axis 1, at the shoulder's height) projected into the plane.
    mdh, base and flange as Arm.mdh gives them (None: identity, as for the designed arm)."""
    mdh = np.asarray(mdh, dtype=float)
    flange_length = 0.0 if flange is None else float(np.linalg.norm(np.asarray(flange)[:3, 3]))
    radius = 1.05 * (np.abs(mdh[:, 0]).sum() + np.abs(mdh[1:, 2]).sum() + flange_length
                     + (0.0 if tool is None else float(np.linalg.norm(np.asarray(tool)[:3]))))
    a, alpha, d = mdh[0, :3]
    shoulder = (np.eye(4) if base is None else np.asarray(base, dtype=float))[:3] @ np.array(
        [a, -math.sin(alpha) * d, math.cos(alpha) * d, 1.0])
    first, second, _ = PLANES[plane]
    u_centre, v_centre = float(shoulder[first]), float(shoulder[second])
    return (u_centre - radius, u_centre + radius, v_centre - radius, v_centre + radius)


def cell_centres(extent, resolution):
    """The grid's cell centres along the plane's two axes: u (resolution values) and v (as
    many as keep the cells square, at least one)."""
    u0, u1, v0, v1 = extent
    rows = max(1, round(resolution * (v1 - v0) / (u1 - u0)))
    u = u0 + (np.arange(resolution) + 0.5) * ((u1 - u0) / resolution)
    v = v0 + (np.arange(rows) + 0.5) * ((v1 - v0) / rows)
    return u, v


def grid_poses(plane, at, extent, resolution, rpy):
    """The grid's TCP poses, (rows, resolution, 6): each cell's centre in the plane, the
    fixed coordinate at, the orientation rpy; row 0 at the lowest v, column 0 at the lowest
    u."""
    u, v = cell_centres(extent, resolution)
    first, second, fixed = PLANES[plane]
    poses = np.empty((len(v), len(u), 6))
    poses[..., first] = u[np.newaxis, :]
    poses[..., second] = v[:, np.newaxis]
    poses[..., fixed] = at
    poses[..., 3:] = rpy
    return poses


def reach_map(robot, plane="xy", at=0.0, extent=(-1, 1, -1, 1), resolution=400,
              rpy=(math.pi, 0.0, 0.0), tool=None, ref=DEFAULT_REF, mode=None, threads=None):
    """Result codes of the grid's poses, an int32 array of (rows, resolution): row 0 at the
    lowest v, column 0 at the lowest u. ValueError for a robot whose arm is not of the
    inverse solver's form (robot.arm_form not 0)."""
    poses = grid_poses(plane, at, extent, resolution, rpy)
    codes, _ = robot.ik_many(poses.reshape(-1, 6), ref, tool=tool, mode=mode, threads=threads)
    return codes.reshape(poses.shape[:2])


def within_limits(Q, lower, upper):
    """Whether each joint position (the last axis: six joints) lies within [lower, upper],
    each joint as it is or by a whole-turn variant (within 2^20 turns, as Arm.ik_nearest
    shifts joints); never for a row holding NaN."""
    Q = np.asarray(Q, dtype=float)
    lower, upper = np.asarray(lower, dtype=float), np.asarray(upper, dtype=float)
    turn, most = 2 * math.pi, 2.0 ** 20
    with np.errstate(invalid="ignore"):
        turns = np.minimum(np.maximum(0.0, np.maximum(np.ceil((lower - Q) / turn), -most)),
                           np.minimum(np.floor((upper - Q) / turn), most))
        variant = Q + turns * turn
        return np.all((variant >= lower) & (variant <= upper), axis=-1)


def count_map(arm, plane="xy", at=0.0, extent=(-1, 1, -1, 1), resolution=400,
              rpy=(math.pi, 0.0, 0.0), tool=None, threads=None):
    """Numbers of solutions of the grid's poses for an fk_ik.Arm: two int32 arrays of (rows,
    resolution) laid out as reach_map's, all of Arm.ik_all_many's solutions and those within
    the arm's joint limits (within_limits). ValueError for a degenerate arm."""
    poses = grid_poses(plane, at, extent, resolution, rpy)
    flat = poses.reshape(-1, 6)
    counts = np.empty(len(flat), dtype=np.int32)
    within = np.empty(len(flat), dtype=np.int32)
    for start in range(0, len(flat), COUNT_CHUNK):
        part = slice(start, start + COUNT_CHUNK)
        counts[part], Q, _ = arm.ik_all_many(flat[part], tool=tool, threads=threads)
        within[part] = within_limits(Q, arm.lower, arm.upper).sum(axis=1)
    return counts.reshape(poses.shape[:2]), within.reshape(poses.shape[:2])


def reach_radius(counts, extent):
    """The distance in the plane from the base frame's origin to the farthest cell centre
    with a solution; None when no cell has one."""
    u, v = cell_centres(extent, counts.shape[1])
    distance = np.hypot(u[np.newaxis, :], v[:, np.newaxis])
    return float(distance[counts > 0].max()) if np.any(counts > 0) else None


def rgb(colour):
    """'#rrggbb' as three floats 0 ... 1."""
    return [int(colour[i:i + 2], 16) / 255 for i in (1, 3, 5)]


def colour_image(codes):
    """RGB image (floats 0 ... 1) of a code grid, one exact colour per code."""
    table = np.zeros((max(int(c) for c in Code) + 1, 3))
    for code, colour in COLOURS.items():
        table[code] = rgb(colour)
    return table[codes]


def count_colour(count):
    """The colour of a number of solutions, '#rrggbb'."""
    return COUNT_COLOURS.get(int(count), ODD_COLOUR)


def count_image(counts):
    """RGB image (floats 0 ... 1) of a grid of solution counts (0 ... 16)."""
    return np.array([rgb(count_colour(n)) for n in range(MOST_SOLUTIONS + 1)])[counts]


def plane_title(plane, at, rpy, unit):
    """The plane's fixed coordinate and the TCP orientation, as a title."""
    return (f"{'xyz'[PLANES[plane][2]]} = {at:g} {unit}, roll pitch yaw = "
            f"{rpy[0]:.3g} {rpy[1]:.3g} {rpy[2]:.3g} rad")


def share(mask):
    """The percentage of the grid's cells that mask holds, rounded, as text."""
    percent = 100 * np.count_nonzero(mask) / mask.size
    return "<1" if 0 < percent < 0.5 else f"{percent:.0f}"


def panel(figure, rect, image, plane, extent, unit, title):
    """Axes at rect (figure fractions) showing an RGB image of the grid over extent, the
    base (a cross at the origin), axis labels and a title."""
    axes = figure.add_axes(rect)
    axes.imshow(image, origin="lower", extent=extent, interpolation="nearest")
    axes.plot([0], [0], marker="P", markersize=12, color="black", linestyle="none")
    axes.set_xlabel(f"{plane[0]} [{unit}]")
    axes.set_ylabel(f"{plane[1]} [{unit}]")
    axes.set_title(title, fontsize=9)
    return axes


def base_handle(label="the arm's base"):
    """The legend entry of the base's cross."""
    from matplotlib.lines import Line2D

    return Line2D([], [], marker="P", color="black", linestyle="none", markersize=10,
                  label=label)


def draw(codes, plane, at, extent, rpy, ref, unit="m", size=(760, 480), title=None, mode=None):
    """The map as a matplotlib figure of size (width, height) pixels at 100 dpi."""
    from matplotlib.figure import Figure
    from matplotlib.patches import Patch

    figure = Figure(figsize=(size[0] / 100, size[1] / 100), dpi=100)
    panel(figure, (0.09, 0.1, 0.52, 0.82), colour_image(codes), plane, extent, unit,
          title or plane_title(plane, at, rpy, unit))
    handles = [Patch(color=COLOURS[code], label=f"{LABELS[code]} ({share(codes == code)} %)")
               for code in COLOURS]
    handles.append(base_handle())
    figure.legend(handles=handles, loc="center left", bbox_to_anchor=(0.62, 0.5), fontsize=8,
                  title="result code", title_fontsize=9, frameon=False)
    configuration = ("reference q = " + " ".join(f"{q:.3g}" for q in ref) + " rad"
                     if mode is None else f"configuration mode {mode}")
    figure.text(0.62, 0.12, configuration, fontsize=7)
    return figure


def draw_counts(counts, within, plane, at, extent, rpy, unit="m", size=None, family=None,
                solver=None):
    """The solution-count map as a matplotlib figure of size (width, height) pixels at 100
    dpi (default 760 x 480, or 1180 x 480 with the second panel): the counts, and beside
    them the counts within the joint limits unless within is None. The reach circle passes
    through the farthest cell where counts has a solution. family and solver, when given,
    are written under the legend (Arm.layout's "family" and "solver")."""
    from matplotlib.figure import Figure
    from matplotlib.lines import Line2D
    from matplotlib.patches import Circle, Patch

    grids = [counts] if within is None else [counts, within]
    size = size or ((760, 480) if within is None else (1180, 480))
    figure = Figure(figsize=(size[0] / 100, size[1] / 100), dpi=100)
    if within is None:
        rects, names, legend_x = [(0.09, 0.1, 0.52, 0.82)], ["solutions"], 0.62
    else:
        rects, names, legend_x = ([(0.06, 0.1, 0.34, 0.82), (0.45, 0.1, 0.34, 0.82)],
                                  ["all solutions", "solutions within the joint limits"], 0.8)
    radius = reach_radius(counts, extent)
    for grid, rect, name in zip(grids, rects, names):
        axes = panel(figure, rect, count_image(grid), plane, extent, unit,
                     f"{name}\n{plane_title(plane, at, rpy, unit)}")
        if radius is not None:
            axes.add_patch(Circle((0, 0), radius, fill=False, color="black", linestyle="--",
                                  linewidth=1))
        axes.set_xlim(extent[0], extent[1])
        axes.set_ylim(extent[2], extent[3])

    def shares(masks):
        return " / ".join(share(mask) for mask in masks) + " %"

    # The scale runs over the even counts up to the largest shown; odd counts share an entry.
    largest = max(int(grid.max()) for grid in grids)
    handles = [Patch(color=COUNT_COLOURS[n], label=f"{n} ({shares(grid == n for grid in grids)})")
               for n in range(0, largest + largest % 2 + 1, 2)]
    odd = [grid % 2 == 1 for grid in grids]
    if any(mask.any() for mask in odd):
        handles.append(Patch(color=ODD_COLOUR, label=f"odd ({shares(odd)})"))
    handles.append(base_handle("the base frame's origin"))
    if radius is not None:
        handles.append(Line2D([], [], color="black", linestyle="--", linewidth=1,
                              label="reach (the farthest cell\nwith a solution): "
                                    f"{radius:.3g} {unit}"))
    figure.legend(handles=handles, loc="center left", bbox_to_anchor=(legend_x, 0.5), fontsize=8,
                  title="solutions" if within is None else "solutions: all / within limits",
                  title_fontsize=9, frameon=False)
    notes = ([f"layout: {family}"] if family else []) + (
        textwrap.wrap(f"inverse: {solver}", 38, subsequent_indent="  ") if solver else [])
    if notes:
        figure.text(legend_x, 0.12, "\n".join(notes), fontsize=7, verticalalignment="top")
    return figure


def read_any_arm(args):
    """The fk_ik.Arm the arguments name: --urdf (with --base, --tip), --dh (standard rows) or
    --arm with --signs (modified rows)."""
    if args.urdf:
        return Arm.from_urdf(args.urdf, args.base, args.tip)
    return Arm.from_dh(read_arm(args.dh or args.arm), "standard" if args.dh else "modified",
                       signs=args.signs)


def main(argv=None):
    parts = __doc__.split("\n\n")
    parser = argparse.ArgumentParser(prog="python3 -m fk_ik.reach", description=parts[0],
                                     epilog="\n\n".join(parts[2:]),
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
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
    parser.add_argument("--ref", type=float, nargs=6, default=None, metavar="Q",
                        help="the reference joint position whose configuration the map keeps "
                             "(designed arm only)")
    parser.add_argument("--mode", type=int, choices=range(8), metavar="M",
                        help="configuration mode 0 ... 7 instead of the reference's "
                             "(bits 4 shoulder, 2 elbow, 1 wrist); the reference then sets "
                             "only the turns (designed arm only)")
    source = parser.add_mutually_exclusive_group()
    source.add_argument("--arm", metavar="FILE",
                        help="six lines of modified DH rows a alpha d theta, of the inverse "
                             "solver's form (default: the sample arm, metres); with --signs, "
                             "any arm's solution counts")
    source.add_argument("--urdf", metavar="FILE",
                        help="any arm from a URDF file: its solution counts")
    source.add_argument("--dh", metavar="FILE",
                        help="any arm from six lines of standard DH rows a alpha d theta: its "
                             "solution counts")
    parser.add_argument("--base", metavar="LINK",
                        help="the URDF chain's base link (default: the root, past 'world')")
    parser.add_argument("--tip", metavar="LINK",
                        help="the URDF chain's tip link (default: the only leaf six joints below)")
    parser.add_argument("--signs", type=float, nargs=6, metavar="S",
                        help="the joints' senses, +1 or -1 each, for --dh (default all +1) or "
                             "--arm (then any arm's solution counts)")
    parser.add_argument("--within-limits", action="store_true",
                        help="a second panel: the solutions within the arm's joint limits")
    parser.add_argument("--unit", default=None,
                        help="the arm's length unit for the axes (default m for the sample arm "
                             "and URDF)")
    parser.add_argument("--size", type=int, nargs=2, default=None, metavar=("WIDTH", "HEIGHT"),
                        help="the picture's size in pixels (default 760 480, 1180 480 with "
                             "--within-limits)")
    parser.add_argument("--threads", type=int, default=None,
                        help="worker threads (default: the machine's cores)")
    parser.add_argument("--output", default="reach.png", help="the PNG file (default reach.png)")
    args = parser.parse_args(argv)

    counting = bool(args.urdf or args.dh or (args.arm and args.signs is not None))
    if (args.base or args.tip) and not args.urdf:
        parser.error("--base and --tip go with --urdf")
    if args.signs is not None and not (args.dh or args.arm):
        parser.error("--signs goes with --dh or --arm")
    if counting and (args.ref is not None or args.mode is not None):
        parser.error("--ref and --mode choose the designed arm's configuration: not for a map "
                     "of solution counts")
    if args.within_limits and not counting:
        parser.error("--within-limits goes with --urdf, --dh, or --arm with --signs")
    ref = DEFAULT_REF if args.ref is None else args.ref
    try:
        if counting:
            arm = read_any_arm(args)
            name = args.urdf or args.dh or args.arm
            try:
                arm.ik_all(arm.fk(np.zeros(6)))
            except ValueError:
                parser.error(f"{name}: a degenerate arm (coincident axes) has no inverse; no map "
                             "of solution counts")
            mdh, _, base, flange, _ = arm.mdh()
        else:
            mdh, base, flange = (read_arm(args.arm) if args.arm else SAMPLE_ARM), None, None
            robot = Robot(mdh)
            if robot.arm_form != 0:
                # The inverse would answer SOLVED with joints that miss the pose: every cell
                # would be painted solved, wrongly.
                row, field = divmod(robot.arm_form - 1, 4)
                parser.error(f"{args.arm}: not an arm the inverse solver is exact for "
                             f"({('a', 'alpha', 'd', 'theta')[field]} of joint {row + 1} breaks "
                             f"its form, check_arm_form {robot.arm_form}); no reachability map")
            code, mode = robot.mode(ref)
            if args.mode is not None:
                mode = args.mode
            elif code != Code.SOLVED:
                parser.error(f"the reference is {LABELS[code]}: choose another --ref")
        if args.resolution < 1 or (args.size is not None and min(args.size) < 1):
            parser.error("--resolution and --size take positive numbers")
        at = args.at if args.at is not None else (0.2 if args.plane == "xy" else 0.0)
        extent = args.extent or default_extent(mdh, args.plane, args.tool, base, flange)
        if extent[1] <= extent[0] or extent[3] <= extent[2]:
            parser.error("--extent needs U0 < U1 and V0 < V1")
        start = time.perf_counter()
        if counting:
            counts, within = count_map(arm, args.plane, at, extent, args.resolution, args.rpy,
                                       args.tool, args.threads)
        else:
            codes = reach_map(robot, args.plane, at, extent, args.resolution, args.rpy,
                              args.tool, ref, args.mode, args.threads)
        seconds = time.perf_counter() - start
    except (OSError, ValueError, TypeError) as error:
        parser.error(str(error))
    if counting:
        unit = args.unit or ("m" if args.urdf else "length unit")
        family = arm.layout["family"]
        figure = draw_counts(counts, within if args.within_limits else None, args.plane, at,
                             extent, args.rpy, unit, args.size, family, arm.layout["solver"])
        figure.savefig(args.output, dpi=100)
        limited = f", up to {within.max()} within the limits" if args.within_limits else ""
        print(f"{args.output}: {counts.shape[1]} x {counts.shape[0]} poses in {seconds:.3f} s, "
              f"{family}, up to {counts.max()} solutions{limited}")
        return 0
    unit = args.unit or ("length unit" if args.arm else "m")
    figure = draw(codes, args.plane, at, extent, args.rpy, ref, unit, args.size or (760, 480),
                  mode=args.mode)
    figure.savefig(args.output, dpi=100)
    print(f"{args.output}: {codes.shape[1]} x {codes.shape[0]} poses in {seconds:.3f} s, "
          f"configuration mode {mode}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
