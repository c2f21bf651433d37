#!/usr/bin/python3
"""A small match runner for UCI engines: plays game pairs from an opening file
(each opening once with each colour), with a time control, concurrent games,
adjudication, and strict checks: an illegal move, a crash, a hang or an
overstepped clock loses the game and is counted.

Needs Debian's python3-chess. Example:
  tools/match.py --engine "build/quorvane" --engine "/usr/games/glaurung" \
      --tc 10+0.1 --games 400 --concurrency 2 --book ../shared/books/UHO_4060_v3.epd
Options for one engine: --option 1:Threads=2 (engine numbers start at 1).
"""
import argparse
import math
import queue
import random
import subprocess
import sys
import threading
import time

import chess
import chess.pgn


class EngineError(Exception):
    pass


class Engine:
    def __init__(self, command, options, name):
        self.name = name
        self.proc = subprocess.Popen(command, shell=True, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                     stderr=subprocess.DEVNULL, text=True, bufsize=1)
        self.lines = queue.Queue()
        threading.Thread(target=self._reader, daemon=True).start()
        self.send("uci")
        self.wait_for(lambda l: l == "uciok", 10)
        for name_value in options:
            name, value = name_value.split("=", 1)
            self.send("setoption name %s value %s" % (name, value))
        self.ready(10)

    def _reader(self):
        for line in self.proc.stdout:
            self.lines.put(line.rstrip("\n"))
        self.lines.put(None)

    def send(self, line):
        try:
            self.proc.stdin.write(line + "\n")
            self.proc.stdin.flush()
        except (BrokenPipeError, OSError):
            raise EngineError("crash")

    def wait_for(self, predicate, timeout):
        deadline = time.monotonic() + timeout
        seen = []
        while True:
            left = deadline - time.monotonic()
            if left <= 0:
                raise EngineError("hang")
            try:
                line = self.lines.get(timeout=left)
            except queue.Empty:
                raise EngineError("hang")
            if line is None:
                raise EngineError("crash")
            seen.append(line)
            if predicate(line):
                return seen

    def ready(self, timeout=10):
        self.send("isready")
        self.wait_for(lambda l: l == "readyok", timeout)

    def quit(self):
        try:
            self.send("quit")
            self.proc.wait(timeout=5)
        except Exception:
            self.proc.kill()


def last_score(lines):
    score = None
    for line in lines:
        words = line.split()
        if words[:1] == ["info"] and "score" in words:
            i = words.index("score")
            if i + 2 < len(words):
                try:
                    value = int(words[i + 2])
                except ValueError:
                    continue
                score = value if words[i + 1] == "cp" else (100000 if value > 0 else -100000)
    return score


def play_game(commands, options, names, fen, frc, tc, white_index):
    base, inc = tc
    board = chess.Board(fen, chess960=frc)
    start_fen = board.fen()
    engines = []
    result, reason, fault = None, "", None
    moves = []
    try:
        engines = [Engine(commands[i], options[i], names[i]) for i in range(2)]
    except EngineError as e:
        return "*", "start-up " + str(e), None, start_fen, moves
    clocks = [base, base]
    scores = []  # per ply, from white's view
    for e in engines:
        e.send("ucinewgame")
        e.ready(10)
    while result is None:
        side = 0 if board.turn == chess.WHITE else 1
        engine_index = white_index if side == 0 else 1 - white_index
        engine = engines[engine_index]
        position = "position fen " + start_fen + (" moves " + " ".join(moves) if moves else "")
        wtime = int(clocks[0] * 1000)
        btime = int(clocks[1] * 1000)
        winc = binc = int(inc * 1000)
        try:
            engine.send(position)
            t0 = time.monotonic()
            engine.send("go wtime %d btime %d winc %d binc %d" % (wtime, btime, winc, binc))
            lines = engine.wait_for(lambda l: l.startswith("bestmove"), clocks[side] + 5)
            used = time.monotonic() - t0
        except EngineError as e:
            fault = (engine_index, str(e))
            result = "0-1" if side == 0 else "1-0"
            reason = "%s %s" % (engine.name, e)
            break
        clocks[side] -= used
        if clocks[side] < 0:
            fault = (engine_index, "time")
            result = "0-1" if side == 0 else "1-0"
            reason = "%s lost on time" % engine.name
            break
        clocks[side] += inc
        text = lines[-1].split()[1] if len(lines[-1].split()) > 1 else ""
        try:
            move = board.parse_uci(text)
            if move not in board.legal_moves:
                raise ValueError
        except ValueError:
            fault = (engine_index, "illegal")
            result = "0-1" if side == 0 else "1-0"
            reason = "%s played an illegal move %s" % (engine.name, text)
            break
        moves.append(board.uci(move, chess960=frc))
        board.push(move)
        score = last_score(lines)
        scores.append(None if score is None else (score if side == 0 else -score))
        outcome = board.outcome(claim_draw=True)
        if outcome:
            result = outcome.result()
            reason = outcome.termination.name.lower()
            break
        # Adjudication: both sides agree on a clear result, or on a dead draw.
        recent = scores[-8:]
        if len(recent) == 8 and all(s is not None for s in recent):
            if all(s >= 1000 for s in recent):
                result, reason = "1-0", "adjudicated win"
            elif all(s <= -1000 for s in recent):
                result, reason = "0-1", "adjudicated win"
            elif len(moves) >= 80 and all(abs(s) <= 8 for s in recent):
                result, reason = "1/2-1/2", "adjudicated draw"
        if len(moves) >= 500:
            result, reason = "1/2-1/2", "move limit"
    for e in engines:
        e.quit()
    return result, reason, fault, start_fen, moves


def elo(score):
    score = min(max(score, 1e-6), 1 - 1e-6)
    return -400 * math.log10(1 / score - 1)


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--engine", action="append", required=True)
    ap.add_argument("--name", action="append")
    ap.add_argument("--option", action="append", default=[])
    ap.add_argument("--tc", default="10+0.1")
    ap.add_argument("--games", type=int, default=100)
    ap.add_argument("--concurrency", type=int, default=1)
    ap.add_argument("--book", required=True)
    ap.add_argument("--frc", action="store_true")
    ap.add_argument("--seed", type=int, default=1)
    ap.add_argument("--pgn")
    args = ap.parse_args()
    names = args.name or ["engine1", "engine2"]
    options = [[], []]
    for o in args.option:
        index, nv = o.split(":", 1)
        options[int(index) - 1].append(nv)
    if args.frc:
        for o in options:
            o.append("UCI_Chess960=true")
    base, inc = args.tc.split("+")
    tc = (float(base), float(inc))
    with open(args.book) as f:
        book = [l.split(";")[0].strip() for l in f if l.strip()]
    rng = random.Random(args.seed)
    openings = [rng.choice(book) for _ in range((args.games + 1) // 2)]
    jobs = queue.Queue()
    for i in range(args.games):
        jobs.put((i, openings[i // 2], i % 2))
    results = []
    lock = threading.Lock()
    pgn = open(args.pgn, "w") if args.pgn else None

    def worker():
        while True:
            try:
                i, fen, white_index = jobs.get_nowait()
            except queue.Empty:
                return
            result, reason, fault, start_fen, moves = play_game(args.engine, options, names, fen, args.frc, tc, white_index)
            first_score = {"1-0": 1.0, "0-1": 0.0, "1/2-1/2": 0.5}.get(result)
            if first_score is not None and white_index == 1:
                first_score = 1.0 - first_score
            with lock:
                results.append((first_score, fault))
                w = sum(1 for s, _ in results if s == 1.0)
                d = sum(1 for s, _ in results if s == 0.5)
                l = sum(1 for s, _ in results if s == 0.0)
                print("game %d: %s vs %s %s (%s)  [%s: +%d =%d -%d]" % (
                    i + 1, names[white_index], names[1 - white_index], result, reason, names[0], w, d, l), flush=True)
                if pgn:
                    game = chess.pgn.Game()
                    game.headers["White"] = names[white_index]
                    game.headers["Black"] = names[1 - white_index]
                    game.headers["Result"] = result or "*"
                    game.headers["Termination"] = reason
                    board = chess.Board(start_fen, chess960=args.frc)
                    if start_fen != chess.STARTING_FEN:
                        game.setup(board)
                    node = game
                    for m in moves:
                        move = board.parse_uci(m)
                        node = node.add_variation(move)
                        board.push(move)
                    print(game, file=pgn, end="\n\n", flush=True)

    threads = [threading.Thread(target=worker) for _ in range(args.concurrency)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    scored = [s for s, _ in results if s is not None]
    n = len(scored)
    w = scored.count(1.0)
    d = scored.count(0.5)
    l = scored.count(0.0)
    faults = {}
    for _, fault in results:
        if fault:
            key = "%s %s" % (names[fault[0]], fault[1])
            faults[key] = faults.get(key, 0) + 1
    mean = sum(scored) / n if n else 0.5
    var = sum((s - mean) ** 2 for s in scored) / n if n else 0
    margin = 1.96 * math.sqrt(var / n) if n else 0
    print("Score of %s vs %s: %d - %d - %d  [%.3f] %d games" % (names[0], names[1], w, l, d, mean, n))
    print("Elo difference: %.1f +/- %.1f" % (elo(mean), (elo(min(mean + margin, 0.999)) - elo(max(mean - margin, 0.001))) / 2))
    print("Faults: " + (", ".join("%s: %d" % kv for kv in faults.items()) if faults else "none"))


if __name__ == "__main__":
    main()
