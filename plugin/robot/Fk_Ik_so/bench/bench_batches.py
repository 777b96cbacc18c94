"""Calls per second of fk_ik's batch forms on one thread and on all cores, beside the
single calls, on the sample arm: joint positions drawn with a fixed seed, the poses they
reach with a tool, references 0.1 rad away from them. Best of several runs each."""
import argparse
import os
import time

import numpy as np

import fk_ik


def best_seconds(call, repeats):
    best = float("inf")
    for _ in range(repeats):
        start = time.perf_counter()
        call()
        best = min(best, time.perf_counter() - start)
    return best


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--rows", type=int, default=200_000, help="rows per batch")
    parser.add_argument("--repeats", type=int, default=5, help="runs of each, best kept")
    args = parser.parse_args()

    rng = np.random.default_rng(14)
    robot = fk_ik.Robot(fk_ik.SAMPLE_ARM)
    tool = np.array([0.01, -0.02, 0.05, 0.1, -0.2, 0.3])
    joints = rng.uniform(-np.pi, np.pi, (args.rows, 6))
    poses = robot.fk_many(joints, tool)
    refs = joints + rng.uniform(-0.1, 0.1, joints.shape)
    codes, _ = robot.ik_many(poses, refs, tool)
    cores = len(os.sched_getaffinity(0))
    singles = min(args.rows, 20_000)

    print(f"{args.rows} rows, {cores} cores; inverse solved for "
          f"{100 * np.count_nonzero(codes == fk_ik.Code.SOLVED) / args.rows:.1f} % of rows")
    print(f"{'operation':<34}{'threads':>8}{'calls/s':>14}{'ns/call':>10}")
    cases = [
        ("fk, one call at a time", 1, singles,
         lambda: [robot.fk(q, tool) for q in joints[:singles]]),
        ("ik, one call at a time", 1, singles,
         lambda: [robot.ik(p, r, tool) for p, r in zip(poses[:singles], refs[:singles])]),
    ]
    for threads in sorted({1, cores}):
        cases.append(("fk_many", threads, args.rows,
                      lambda t=threads: robot.fk_many(joints, tool, threads=t)))
        cases.append(("ik_many, one reference per row", threads, args.rows,
                      lambda t=threads: robot.ik_many(poses, refs, tool, threads=t)))
    for name, threads, calls, call in cases:
        seconds = best_seconds(call, args.repeats)
        print(f"{name:<34}{threads:>8}{calls / seconds:>14,.0f}{1e9 * seconds / calls:>10.0f}")


if __name__ == "__main__":
    main()
