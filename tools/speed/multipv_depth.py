#!/usr/bin/env python3
"""Depth reached with several lines against one, from the same searches.

Each position of an EPD file is searched as the first move of a 10s+0.1s game
would be (`go wtime 10000 btime 10000 winc 100 binc 100`), once with MultiPV 1
and once with MultiPV N, the two alternating; prints the mean depth of the last
line of each kind and their difference.

    tools/speed/multipv_depth.py [--engine build/quorvane] [--book FILE] [--positions 40] [--multipv 3]
"""
import argparse
import subprocess


def search(engine, fen, multipv):
    engine.stdin.write(f"setoption name MultiPV value {multipv}\nucinewgame\nposition fen {fen}\n"
                       "go wtime 10000 btime 10000 winc 100 binc 100\n")
    engine.stdin.flush()
    depth = 0
    for line in engine.stdout:
        words = line.split()
        if words[:1] == ["bestmove"]:
            return depth
        if words[:1] == ["info"] and "depth" in words and "score" in words:
            depth = int(words[words.index("depth") + 1])
    raise RuntimeError("engine stopped before its bestmove")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--engine", default="build/quorvane")
    parser.add_argument("--book", default="../shared/books/UHO_4060_v3.epd")
    parser.add_argument("--positions", type=int, default=40)
    parser.add_argument("--multipv", type=int, default=3)
    args = parser.parse_args()
    with open(args.book) as book:
        fens = [" ".join(line.split()[:4]) + " 0 1" for line in book if line.strip()][: args.positions]
    engine = subprocess.Popen([args.engine], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
    one, several = [], []
    for fen in fens:
        one.append(search(engine, fen, 1))
        several.append(search(engine, fen, args.multipv))
    engine.stdin.write("quit\n")
    engine.stdin.flush()
    engine.wait()
    mean = lambda values: sum(values) / len(values)
    print(f"{len(fens)} positions: MultiPV 1 depth {mean(one):.2f}, MultiPV {args.multipv} depth "
          f"{mean(several):.2f}, difference {mean(several) - mean(one):+.2f}")


if __name__ == "__main__":
    main()
