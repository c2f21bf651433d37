#!/usr/bin/env python3
"""Compares the engine's perft counts with Debian's stockfish on random game
positions: book openings, Chess960 starts and endgames, each walked forward by
random legal moves. Prints every disagreement and a summary line.

Usage: tools/testing/perft_oracle.py [positions-per-book] [depth] [seed]
"""
import os
import random
import shutil
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
SHARED = os.path.join(ROOT, "..", "shared")


class Engine:
    def __init__(self, argv):
        self.p = subprocess.Popen(argv, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, bufsize=1)

    def send(self, line):
        self.p.stdin.write(line + "\n")
        self.p.stdin.flush()

    def read_until(self, predicate):
        lines = []
        while True:
            line = self.p.stdout.readline()
            if not line:
                raise RuntimeError("engine ended")
            line = line.rstrip("\n")
            lines.append(line)
            if predicate(line):
                return lines

    def sync(self):
        self.send("isready")
        self.read_until(lambda l: l == "readyok")


def stockfish_moves(sf, fen):
    sf.send("position fen " + fen)
    sf.send("go perft 1")
    lines = sf.read_until(lambda l: l.startswith("Nodes searched"))
    return [l.split(":")[0] for l in lines if ":" in l and not l.startswith("Nodes")]


def stockfish_fen(sf, fen, moves):
    sf.send("position fen " + fen + (" moves " + " ".join(moves) if moves else ""))
    sf.send("d")
    lines = sf.read_until(lambda l: l.startswith("Checkers"))
    return next(l[5:] for l in lines if l.startswith("Fen: "))


def stockfish_perft(sf, fen, depth):
    sf.send("position fen " + fen)
    sf.send("go perft %d" % depth)
    line = sf.read_until(lambda l: l.startswith("Nodes searched"))[-1]
    return int(line.split(":")[1])


def our_perft(engine, fen, depth):
    engine.send("position fen " + fen)
    engine.send("perft %d" % depth)
    line = engine.read_until(lambda l: l.startswith("Perft results") or l.startswith("info string"))[-1]
    if line.startswith("info string"):
        raise RuntimeError(line + " for " + fen)
    return int(line.split()[5])


def main():
    per_book = int(sys.argv[1]) if len(sys.argv) > 1 else 100
    depth = int(sys.argv[2]) if len(sys.argv) > 2 else 4
    rng = random.Random(int(sys.argv[3]) if len(sys.argv) > 3 else 1)
    stockfish = shutil.which("stockfish") or "/usr/games/stockfish"
    books = [("UHO_4060_v3.epd", False), ("FRC_openings.epd", True), ("endgames.epd", False)]
    checked = failures = 0
    for book, frc in books:
        with open(os.path.join(SHARED, "books", book)) as f:
            fens = [l.split(";")[0].strip() for l in f if l.strip()]
        sf = Engine([stockfish])
        ours = Engine([os.path.join(ROOT, "build", "quorvane")])
        flag = "true" if frc else "false"
        sf.send("setoption name UCI_Chess960 value " + flag)
        ours.send("setoption name UCI_Chess960 value " + flag)
        ours.send("setoption name Hash value 1")
        sf.sync()
        ours.sync()
        for _ in range(per_book):
            fen = rng.choice(fens)
            played = []
            for _ in range(rng.randint(0, 40)):
                moves = stockfish_moves(sf, stockfish_fen(sf, fen, played))
                if not moves:
                    break
                played.append(rng.choice(moves))
            position = stockfish_fen(sf, fen, played)
            expected = stockfish_perft(sf, position, depth)
            got = our_perft(ours, position, depth)
            checked += 1
            if got != expected:
                failures += 1
                print("MISMATCH %s depth %d: stockfish %d, quorvane %d" % (position, depth, expected, got))
        sf.send("quit")
        ours.send("quit")
    print("%d positions checked at depth %d, %d disagreements" % (checked, depth, failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
