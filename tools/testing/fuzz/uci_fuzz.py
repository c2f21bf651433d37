#!/usr/bin/env python3
"""Random UCI sessions against the engine binary, judged from the outside.

Each sequence (one fresh engine process) is drawn from --seed and its index.
Every bestmove, ponder and principal-variation move is checked with the
separate rules model in chessmodel.py; crashes, hangs, lines that are not a
known reply (torn lines), disagreements about which position commands are
refused and a position changed by a refused command are failures. A failing
sequence is shrunk and written out as a reproducer (--replay FILE runs it).

  python3 tools/testing/fuzz/uci_fuzz.py --engine build/quorvane --seed 1 --count 200 --jobs 2
"""

import argparse
import json
import multiprocessing
import os
import queue
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import chessmodel as cm  # noqa: E402

NET_NAME = "220321-307.nnue"
BAD_NET = "broken.nnue"
GO_WORDS = {"wtime", "btime", "winc", "binc", "movestogo", "depth", "nodes", "mate", "movetime", "infinite", "ponder",
            "searchmoves"}

PERFT_FILE = ("4k3/8/8/8/8/8/8/4K3 w - - 0 1;2;25\n"
              "r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1;2;568\n"
              "4k3/8/8/8/8/8/8/4K3 w - - 0 1;200;1\n"
              "4k3/8/8/8/8/8/8/4K3 w - - 0 1;x;1\n"
              "4k3/8/8/8/8/8/8/4K3 w - - 0 1;2\n"
              "not a fen;1;1\n"
              "4k3/8/8/8/8/8/8/4K3 w - - 0 1;1;5;25;170;1156;7922\n")

MOVE = r"[a-h][1-8][a-h][1-8][nbrq]?"
KNOWN_LINES = [re.compile(p) for p in [
    r"info score (cp -?\d+|mate -?\d+)( wdl \d+ \d+ \d+)?( multipv \d+)? depth \d+ seldepth \d+ nodes \d+ nps \d+ time \d+ tbhits \d+ pv( %s)*" % MOVE,
    r"info score mate 0( wdl 0 0 1000)?",
    r"bestmove (%s|\(none\))( ponder %s)?" % (MOVE, MOVE),
    r"readyok", r"uciok", r"id name Quorvane 3\.0.*", r"id author Olvredan", r"option name \S+( Hash)? type .*",
    r"Quorvane 3\.0.*", r"by Olvredan", r"enter 'help' to see the commands", r"Net read", r"Unknown command",
    r"Evaluation : -?\d+",
    r"\+(---\+){8}", r"\|( [ PNBRQKpnbrqk] \|){8}",
    r"-?\d+ ns and \S+ in seconds", r"Perft results for depth: \d+  \d+  Nodes per sec: \S+",
    r"[01]; .*; -?\d+; \d+; \d+; -?\d+", r"Results of the perft checks is OK: [01]",
    r"Results of the perft checks \(0 = wrong, 1 = OK\) : [01]", r"WRONGGGGGGGGGGGG \d correct : \d+ berekend : \d+",
    r"Okidoki", r"4k3/8/8/8/8/8/8/4K3 w - - 0 1",
    r"There seems to be a problem with the perftFile\. check of the move generator not executed",
    r"Size of info : pos structure : \d+ posinfo structure : \d+", r"Hash Statistics ", r"Number of entries \d+",
    r"Used entries \d+", r"Type of entries UPPER - LOWER - EXACT \d+\t - \d+\t - \d+\t - \d+",
    r"Percentage of entries UPPER - LOWER - EXACT \d+\t - \d+\t - \d+", r"Number of Hashmoves \d+",
    r"Age distribution nof - prcused - prctotal", r"  \d+ - \d+ - \d+", r"Depth distribution ",
    r"Starting texel tuning\.\.\.\.", r"There seems to be a problem with the tuning file\. tuning not executed",
    r"supported UCI commands 'uci' 'ucinewgame' 'position' 'go' 'ponderhit' 'stop 'quit' 'setoption' 'isready'",
    r"other commands 'perft depth', default depth=6, change board with 'position'; 'showboard' shows the current board",
]]
INFO_STRING = re.compile(r"info string .*")
TORN_MARKS = ("bestmove", "info score", "readyok", "uciok", "Unknown command")
SANITIZER_MARKS = ("ERROR: AddressSanitizer", "runtime error:", "WARNING: ThreadSanitizer", "ERROR: LeakSanitizer",
                   "terminate called", "Assertion")


# ---------------------------------------------------------------- generation

class Gen:
    def __init__(self, rng):
        self.rng = rng
        self.chess960 = False
        self.actions = []
        self.recent_legal = ["e2e4", "d2d4", "g1f3"]  # of the last position sent, for searchmoves

    def add(self, kind, data=None):
        self.actions.append([kind, data])

    def line(self, text):
        self.add("line", text if isinstance(text, str) else text.decode("latin-1"))

    def game_fen_and_moves(self, long_game=False):
        r = self.rng
        if self.chess960:
            fen = cm.chess960_start(r)
        else:
            fen = cm.START_FEN
        pos = cm.parse_fen(fen, self.chess960)
        plies = r.randint(150, 400) if long_game else r.choice([0, 1, 2, 5, 10, 20, 40, 60])
        moves, end = cm.random_game(pos, plies, r, self.chess960)
        return fen, moves, end

    def position(self):
        r = self.rng
        roll = r.random()
        if roll < 0.05:
            fen, moves, end = self.game_fen_and_moves(long_game=True)
        else:
            fen, moves, end = self.game_fen_and_moves()
            if r.random() < 0.4 and moves:
                cut = r.randrange(len(moves) + 1)
                pos = cm.parse_fen(fen, self.chess960)
                for t in moves[:cut]:
                    pos = pos.make(pos.legal_texts(self.chess960)[t])
                fen, moves = pos.fen(self.chess960), moves[cut:]
        if fen == cm.START_FEN and r.random() < 0.5:
            head = "position startpos"
            if moves or r.random() < 0.5:
                head += " moves"
        else:
            head = "position fen " + fen + (" moves" if moves or r.random() < 0.3 else "")
        self.recent_legal = sorted(end.legal_texts(self.chess960)) or self.recent_legal
        bad = r.random()
        if bad < 0.12:
            moves = moves + [self.bad_move()]
            if r.random() < 0.3:
                moves += ["e2e4"]
        elif bad < 0.22:
            head = "position fen " + self.bad_fen(fen) + " moves"
        self.line(" ".join([head] + moves))

    def bad_move(self):
        r = self.rng
        return r.choice(["e2e4q", "e7e8Q", "a1a1", "e2", "e2e4e5", "zzzz", "e1g1", "e8g8", "h7h8k", "a7a8p",
                         "0000", "e2e5", "x" * r.choice([5, 100, 5000]), "\u00e9\u00e9\u00e9\u00e9", "g1f3n",
                         "".join(chr(r.randrange(1, 256)) for _ in range(r.randint(1, 8))).replace("\n", "")])

    def bad_fen(self, fen):
        r = self.rng
        kind = r.randrange(8)
        if kind == 0:
            s = list(fen)
            for _ in range(r.randint(1, 4)):
                i = r.randrange(len(s))
                op = r.randrange(3)
                if op == 0:
                    del s[i]
                elif op == 1:
                    s.insert(i, r.choice("0123456789/pnbrqkPNBRQKx- "))
                else:
                    s[i] = r.choice("9/Kkx-")
            return "".join(s).replace("moves", "")
        if kind == 1:
            return " ".join(fen.split()[: r.randint(0, 5)])
        if kind == 2:
            return fen.replace("8", "9", 1)
        if kind == 3:
            return "8/8/8/8/8/8/8/8 w - - 0 1"
        if kind == 4:
            return "4k3/8/8/8/8/8/8/4K3 w KQkq - 0 1"
        if kind == 5:
            return "P3k3/8/8/8/8/8/8/4K3 w - - 0 1"
        if kind == 6:
            return fen + " extra"
        return "".join(r.choice("pnbrqkPNBRQK12345678/ wb-") for _ in range(r.randint(1, 80)))

    def go(self):
        r = self.rng
        roll = r.random()
        wait_stop = False
        if roll < 0.25:
            g = "go depth %d" % r.randint(1, 5)
        elif roll < 0.45:
            g = "go nodes %d" % r.choice([1, 10, 100, 1000, 5000, 20000])
        elif roll < 0.55:
            g = "go movetime %d" % r.randint(1, 40)
        elif roll < 0.68:
            t = r.choice([0, 10, 50, 100, 300, 1000, 3000])
            g = "go wtime %d btime %d" % (t + r.randint(0, 50), t + r.randint(0, 50))
            if r.random() < 0.6:
                inc = r.choice([0, 10, 100])
                g += " winc %d binc %d" % (inc, inc)
            if r.random() < 0.3:
                g += " movestogo %d" % r.choice([0, 1, 2, 4, 30])
        elif roll < 0.76:
            g = "go infinite"
            wait_stop = True
        elif roll < 0.84:
            g = "go ponder wtime %d btime %d" % (r.randint(20, 300), r.randint(20, 300))
            self.line(g)
            self.add("sleep", r.randint(0, 30))
            self.line(r.choice(["ponderhit", "stop", "ponderhit", "isready"]))
            return
        elif roll < 0.92:
            g = "go " + r.choice(["depth 0", "movetime 0", "depth abc", "nodes -1", "depth -5", "mate -1 depth 2",
                                  "movetime", "nodes 99999999999999999999999", "wtime abc btime abc", "mate 1",
                                  "depth 3 foo bar", "depth 2 searchmoves e2e4 d2d4 a7a6 zz",
                                  "searchmoves", "searchmoves " + self.bad_move(), "movestogo 0 wtime 100"])
            wait_stop = True
        elif roll < 0.96:
            g = "go depth %d" % r.randint(6, 9) if r.random() < 0.5 else "go movetime %d" % r.randint(50, 200)
        elif roll < 0.99:
            g = self.go_searchmoves()
        else:
            g = "go"
            wait_stop = True
        if roll < 0.45 and r.random() < 0.15:
            g += " searchmoves " + " ".join(self.some_moves())
        self.line(g)
        if wait_stop:
            self.add("sleep", r.randint(0, 40))
            self.line("stop")

    def some_moves(self):
        """Moves for searchmoves: mostly legal ones of the last position sent, now and then junk or nothing."""
        r = self.rng
        moves = r.sample(self.recent_legal, min(len(self.recent_legal), r.choice([1, 1, 2, 3, 5])))
        if r.random() < 0.25:
            moves.insert(r.randrange(len(moves) + 1), self.bad_move())
        if r.random() < 0.05:
            moves = []
        return moves

    def go_searchmoves(self):
        """searchmoves before, between or after the other limits, or at the end of the line alone."""
        r = self.rng
        limit = r.choice(["depth %d" % r.randint(1, 7), "nodes %d" % r.choice([100, 3000, 30000]),
                          "movetime %d" % r.randint(1, 60), "mate %d" % r.randint(1, 3),
                          "wtime %d btime %d" % (r.randint(50, 2000), r.randint(50, 2000))])
        moves = " ".join(self.some_moves())
        form = r.randrange(4)
        if form == 0:
            return "go searchmoves %s %s" % (moves, limit)
        if form == 1:
            return "go %s searchmoves %s" % (limit, moves)
        if form == 2:
            return "go depth %d searchmoves %s nodes 20000" % (r.randint(1, 5), moves)
        return "go %s searchmoves" % limit

    def setoption(self):
        r = self.rng
        name = r.choice(["Hash", "Threads", "MoveOverhead", "Ponder", "SyzygyProbeDepth", "SyzygyPath", "NetFile",
                         "WindowsNumaNode", "UCI_Chess960", "UCI_Chess960", "Nonsense", "hash", "Move Overhead",
                         "MultiPV", "MultiPV", "MultiPV", "Clear Hash", "Clear", "clear hash", "UCI_ShowWDL",
                         "UCI_ShowWDL", "UCI_LimitStrength", "UCI_LimitStrength", "UCI_Elo", "UCI_Elo"])
        values = {
            "Hash": ["1", "2", "3", "16", "32", "0", "-5", "abc", "", "99999999999", "1e9"],
            "Threads": ["1", "2", "3", "4", "1", "2", "0", "-3", "abc", "8"],
            "MoveOverhead": ["1", "10", "100", "1000", "0", "x"],
            "Ponder": ["true", "false", "True", ""],
            "SyzygyProbeDepth": ["0", "5", "200", "-1", "z"],
            "SyzygyPath": ["", "<empty>", "/nonexistent/dir", "junk", "junk;/nonexistent;."],
            "NetFile": [NET_NAME, NET_NAME, BAD_NET, "missing.nnue", "<empty>", "", "."],
            "WindowsNumaNode": ["0", "1", "4", "9", "-1"],
            "UCI_Chess960": ["true", "false", "True"],
            "MultiPV": ["1", "2", "3", "4", "5", "8", "256", "0", "1000", "-2", "abc", "", "3x", "99999999999"],
            "Clear Hash": ["", "true", "x"],
            "UCI_ShowWDL": ["true", "true", "false", "True", ""],
            "UCI_LimitStrength": ["true", "false", "true", "TRUE"],
            "UCI_Elo": ["1500", "2000", "2400", "2500", "1800", "0", "99999", "x", ""],
        }.get(name, ["1", "x"])
        value = r.choice(values)
        if name == "UCI_Chess960":
            self.chess960 = value == "true"
        form = r.random()
        if form < 0.9:
            self.line("setoption name %s value %s" % (name, value))
        elif form < 0.95:
            self.line("setoption name %s" % name)
        else:
            self.line(r.choice(["setoption", "setoption name", "setoption value 3", "setoption name Hash value"]))

    def junk(self):
        r = self.rng
        k = r.randrange(9)
        if k == 0:
            self.line("")
        elif k == 1:
            self.line("   isready")
        elif k == 2:
            self.line("".join(chr(r.randrange(1, 256)) for _ in range(r.randint(1, 60))).replace("\n", " "))
        elif k == 3:
            self.line("y" * r.choice([1000, 100000, 1 << 20 if r.random() < 0.1 else 2000]))
        elif k == 4:
            self.line(r.choice(["UCI", "Go", "position", "position startpos moves", "go go go", "ponderhit extra",
                                "stop now", "isready\r", "ucinewgame\r", "quit_not", "\x00go depth 1"]))
        elif k == 5:
            self.line("position \x00\x01 fen")
        else:
            self.line(r.choice(["uci", "isready", "help", "foo bar"]))

    def developer(self):
        r = self.rng
        self.line(r.choice(["perft 1", "perft 2", "perft 3", "perft", "perft 0", "perft -1", "perft 25", "perft abc",
                            "rtest", "rtestRFC", "showboard", "evil", "hashstats", "texel", "help"]))
        if self.actions[-1][1] == "perft":
            self.actions[-1][1] = "perft 2"  # the default depth of 6 would take seconds


def generate(seed, index):
    rng = random.Random("%s:%s" % (seed, index))
    g = Gen(rng)
    if rng.random() < 0.3:
        g.line("uci")
    if rng.random() < 0.2:
        g.line("setoption name UCI_Chess960 value true")
        g.chess960 = True
    steps = rng.choice([3, 6, 10, 16, 25])
    for _ in range(steps):
        roll = rng.random()
        if roll < 0.25:
            g.position()
        elif roll < 0.55:
            g.go()
        elif roll < 0.63:
            g.setoption()
        elif roll < 0.70:
            g.line(rng.choice(["stop", "ponderhit", "ucinewgame", "isready"]))
        elif roll < 0.78:
            g.developer()
        elif roll < 0.86:
            g.junk()
        elif roll < 0.93:
            g.add("sleep", rng.randint(0, 25))
        else:
            g.add("showboard")
    # Ends with quit, end of input, or end of input while a search still runs.
    end = rng.random()
    if end < 0.15:
        g.line("go infinite" if rng.random() < 0.5 else "go depth 30")
        g.add("sleep", rng.randint(0, 20))
        g.add("eof")
    elif end < 0.3:
        g.add("eof")
    else:
        g.line("quit")
    return g.actions


# ---------------------------------------------------------------- running

class Failure(Exception):
    def __init__(self, kind, detail):
        super().__init__("%s: %s" % (kind, detail))
        self.kind = kind
        self.detail = detail


class Search:
    def __init__(self, root, chess960, allowed, multipv, show_wdl=False):
        self.root, self.chess960, self.allowed, self.multipv = root, chess960, allowed, multipv
        self.show_wdl = show_wdl
        self.group = []  # the ranked lines of the iteration being printed: (rank, first move, score)


def spin_value(text):
    """A setoption number as the engine reads it (leading digits count), or None when it keeps the old value."""
    m = re.match(r"\s*([+-]?\d+)", text)
    if not m or not -2 ** 31 <= int(m.group(1)) < 2 ** 31:
        return None
    return int(m.group(1))


def line_score(line):
    """An info line's score on one scale: mates beyond every centipawn value, sooner ones further out."""
    w = line.split()
    n = int(w[3])
    if w[2] == "cp":
        return n
    return 10 ** 6 - n if n > 0 else -10 ** 6 - n


words = cm.words


def interpret_position(text, belief, chess960):
    """What the engine must do with a position command: ('ok', pos), ('refuse', None) or ('unknown', None)."""
    w = words(text)
    if len(w) < 2:
        return "refuse", None
    if w[1] == "startpos":
        fen, rest = cm.START_FEN, w[3:]
        if chess960:
            return "unknown", None  # KQkq in Chess960 mode: the model writes file letters only
    elif w[1] == "fen":
        i = 2
        fen_words = []
        while i < len(w) and w[i] != "moves":
            fen_words.append(w[i])
            i += 1
        fen, rest = " ".join(fen_words), w[i + 1:]
    else:
        return "refuse", None
    pos = cm.parse_fen(fen, chess960)
    if pos is None:
        return "unknown", None
    for t in rest:
        legal = pos.legal_texts(chess960)
        if t not in legal:
            return "refuse", None
        pos = pos.make(legal[t])
    return "ok", pos


def setoption_parts(text):
    w = words(text)[1:]
    w = w[1:]  # "name"
    name, value = [], []
    i = 0
    while i < len(w) and w[i] != "value":
        name.append(w[i])
        i += 1
    value = w[i + 1:]
    return " ".join(name), " ".join(value)


class Runner:
    def __init__(self, engine, workdir, timeout_scale=1.0):
        self.engine, self.workdir, self.scale = engine, workdir, timeout_scale
        self.legal_cache = {}

    def legal(self, pos, chess960):
        key = (pos.key(), chess960)
        got = self.legal_cache.get(key)
        if got is None:
            got = pos.legal_texts(chess960)
            if len(self.legal_cache) > 20000:
                self.legal_cache.clear()
            self.legal_cache[key] = got
        return got

    def start(self):
        self.proc = subprocess.Popen([self.engine], cwd=self.workdir, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                     stderr=subprocess.PIPE, start_new_session=True)
        self.lines = queue.Queue()
        self.stderr = []

        def read_out():
            for raw in self.proc.stdout:
                self.lines.put(raw)
            self.lines.put(None)

        def read_err():
            for raw in self.proc.stderr:
                self.stderr.append(raw.decode("latin-1"))

        self.threads = [threading.Thread(target=read_out, daemon=True), threading.Thread(target=read_err, daemon=True)]
        for t in self.threads:
            t.start()

    def kill(self):
        try:
            os.killpg(self.proc.pid, signal.SIGKILL)
        except OSError:
            pass
        self.proc.wait()

    def send(self, text):
        try:
            self.proc.stdin.write(text.encode("latin-1") + b"\n")
            self.proc.stdin.flush()
        except (BrokenPipeError, OSError):
            raise Failure("crash", "the engine closed its input (exit %s)" % self.proc.poll())

    def run(self, actions):
        self.start()
        try:
            self._run(actions)
        finally:
            if self.proc.poll() is None:
                self.kill()
        for mark in SANITIZER_MARKS:
            if any(mark in l for l in self.stderr):
                raise Failure("sanitizer", "".join(self.stderr)[-3000:])

    def _run(self, actions):
        self.belief = cm.parse_fen(cm.START_FEN, False)
        self.chess960 = False
        self.net_ok = True
        self.multipv = 1
        self.show_wdl = False
        self.searches = []          # accepted go commands whose bestmove has not come
        self.refusals_expected = 0
        self.refusals_seen = 0
        self.line_count = 0
        self.since_mark = []        # lines since the last synchronisation point
        self.eof = False
        ended = False
        for kind, data in actions:
            if kind == "sleep":
                self.pump(data / 1000.0)
            elif kind == "line":
                self.command(data)
                if words(data)[:1] == ["quit"]:
                    ended = True
                    break
            elif kind == "showboard":
                self.check_board()
            elif kind == "eof":
                self.proc.stdin.close()
                ended = True
                break
        if not ended:
            self.proc.stdin.close()
        try:
            self.proc.wait(timeout=20 * self.scale)
        except subprocess.TimeoutExpired:
            raise Failure("hang", "the engine did not end within %.0f s of quit or end of input" % (20 * self.scale))
        self.pump_until(lambda l: l is None, 10 * self.scale, "end of output")
        rc = self.proc.returncode
        if rc != 0:
            raise Failure("crash", "exit status %s" % rc)
        if self.searches:
            raise Failure("hang", "%d go command(s) never answered with bestmove" % len(self.searches))
        if self.refusals_seen != self.refusals_expected:
            raise Failure("refusal", "%d go refusals expected (no network), %d seen" % (self.refusals_expected,
                                                                                        self.refusals_seen))

    # Output handling.
    def pump(self, seconds):
        end = time.monotonic() + seconds
        while True:
            left = end - time.monotonic()
            try:
                raw = self.lines.get(timeout=max(0.0, left)) if left > 0 else self.lines.get_nowait()
            except queue.Empty:
                return
            self.take(raw)
            if raw is None:
                self.eof = True
                return

    def pump_until(self, done, seconds, what):
        end = time.monotonic() + seconds
        while True:
            if self.eof:
                if done(None):
                    return
                raise Failure("crash", "output ended while waiting for %s (exit %s)" % (what, self.proc.poll()))
            left = end - time.monotonic()
            if left <= 0:
                raise Failure("hang", "no %s within %.1f s" % (what, seconds))
            try:
                raw = self.lines.get(timeout=left)
            except queue.Empty:
                continue
            if raw is None:
                self.eof = True
                if done(None):
                    return
                continue
            line = self.take(raw)
            if done(line):
                return

    def take(self, raw):
        if raw is None:
            return None
        self.line_count += 1
        if not raw.endswith(b"\n"):
            raise Failure("torn", "last line without its end: %r" % raw[:200])
        line = raw[:-1].decode("latin-1")
        self.since_mark.append(line)
        self.classify(line)
        return line

    def classify(self, line):
        if line.startswith("info string "):
            if any(m in line[12:] for m in TORN_MARKS):
                raise Failure("torn", "line holds another reply: %r" % line[:300])
            if "Unable to calculate the best move for the position." in line:
                self.refusals_seen += 1
            return
        if line == "" and self.line_count <= 4:
            return
        if not any(p.fullmatch(line) for p in KNOWN_LINES):
            raise Failure("torn", "unknown output line: %r" % line[:300])
        if line.startswith("info score"):
            self.check_info(line)
        elif line.startswith("bestmove"):
            self.check_bestmove(line)

    def current_search(self, line):
        if not self.searches:
            raise Failure("protocol", "search output with no search running: %r" % line[:200])
        return self.searches[0]

    def check_line(self, s, moves, what):
        pos = s.root
        for i, t in enumerate(moves):
            legal = self.legal(pos, s.chess960)
            if t not in legal:
                raise Failure("illegal", "%s move %d '%s' is not legal in %s" % (what, i + 1, t, pos.fen(s.chess960)))
            pos = pos.make(legal[t])

    def check_info(self, line):
        s = self.current_search(line)
        self.check_wdl(s, line)
        self.check_rank(s, line)
        if s.root is None:
            return
        if " pv" in line:
            moves = line.split(" pv", 1)[1].split()
            if moves and s.allowed and moves[0] not in s.allowed:
                raise Failure("illegal", "pv starts outside searchmoves %s: %s" % (sorted(s.allowed), line[:200]))
            self.check_line(s, moves, "pv")
        elif line == "info score mate 0":
            if s.root.legal_moves() or not s.root.in_check():
                raise Failure("illegal", "mate 0 reported in %s" % s.root.fen(s.chess960))

    def check_wdl(self, s, line):
        """UCI_ShowWDL: every line with a score carries three per-mille chances adding up to 1000, right after the
        score; a mate is a sure result. Without it, none does."""
        m = re.search(r" wdl (\d+) (\d+) (\d+)", line)
        if not s.show_wdl:
            if m:
                raise Failure("protocol", "wdl with UCI_ShowWDL off: %r" % line[:200])
            return
        if not m:
            raise Failure("protocol", "no wdl with UCI_ShowWDL on: %r" % line[:200])
        w, d, l = (int(x) for x in m.groups())
        if w + d + l != 1000:
            raise Failure("protocol", "wdl does not add up to 1000: %r" % line[:200])
        mate = re.match(r"info score mate (-?\d+)", line)
        if mate and (w, d, l) != ((1000, 0, 0) if int(mate.group(1)) > 0 else (0, 0, 1000)):
            raise Failure("protocol", "a mate is not a sure result: %r" % line[:200])

    def line_count_of(self, s):
        """How many lines a MultiPV search prints per iteration; None when the root is not known."""
        if s.root is None:
            return None
        return min(s.multipv, len(s.allowed) if s.allowed else len(self.legal(s.root, s.chess960)))

    def check_rank(self, s, line):
        """MultiPV: each iteration prints lines 1..k in order, best first, with different first moves; the final
        summary is one more line 1. With MultiPV 1 no line names a rank."""
        m = re.search(r" multipv (\d+) ", line)
        no_move = re.fullmatch(r"info score mate 0( wdl 0 0 1000)?", line) or line.endswith(" pv")
        if s.multipv == 1 or no_move:
            if m:
                raise Failure("protocol", "multipv rank %s with MultiPV %d: %r" % (m.group(1), s.multipv, line[:200]))
            return
        if not m:
            raise Failure("protocol", "no multipv rank with MultiPV %d: %r" % (s.multipv, line[:200]))
        rank, pv = int(m.group(1)), line.split(" pv", 1)[1].split()
        count = self.line_count_of(s)
        if rank == 1:
            self.close_group(s, ended=False)
        elif not s.group or rank != s.group[-1][0] + 1:
            raise Failure("protocol", "multipv %d after %s: %r" % (rank, s.group[-1:] or "nothing", line[:200]))
        if count is not None and rank > count:
            raise Failure("protocol", "multipv %d of %d possible lines: %r" % (rank, count, line[:200]))
        first = pv[0] if pv else None
        if any(first == f for _, f, _ in s.group):
            raise Failure("protocol", "two multipv lines start with %s: %r" % (first, line[:200]))
        if s.group and line_score(line) > s.group[-1][2]:
            raise Failure("protocol", "multipv %d scores above the line before it: %r" % (rank, line[:200]))
        s.group.append((rank, first, line_score(line)))

    def close_group(self, s, ended):
        """An iteration's lines end with a new line 1 or the bestmove; only the final summary stands alone."""
        count = self.line_count_of(s)
        if count is not None and s.group and len(s.group) != count and not (ended and len(s.group) == 1):
            raise Failure("protocol", "%d multipv lines in an iteration of %d: %s" % (len(s.group), count, s.group))
        s.group = []

    def check_bestmove(self, line):
        s = self.current_search(line)
        self.searches.pop(0)
        self.close_group(s, ended=True)
        if s.root is None:
            return
        w = line.split()
        if w[1] == "(none)":
            if s.root.legal_moves():
                raise Failure("illegal", "bestmove (none) with legal moves in %s" % s.root.fen(s.chess960))
            return
        if s.allowed and w[1] not in s.allowed:
            raise Failure("illegal", "bestmove %s outside searchmoves %s" % (w[1], sorted(s.allowed)))
        self.check_line(s, w[1:2] + w[3:4], "bestmove/ponder")

    # Commands.
    def command(self, text):
        w = words(text)
        head = w[0] if w else ""
        if head == "position":
            self.since_mark = []
            self.send(text)
            self.sync()
            verdict, pos = interpret_position(text, self.belief, self.chess960)
            refused = any(l.startswith("info string ") and ("position unchanged" in l or "position needs" in l)
                          for l in self.since_mark)
            if verdict == "ok":
                if refused:
                    raise Failure("refusal", "a legal position command was refused: %s" % text[:300])
                self.belief = pos
            elif verdict == "refuse":
                if not refused:
                    raise Failure("refusal", "an illegal position command was accepted: %s" % text[:300])
            else:
                self.belief = self.belief if refused else None
            if refused and self.belief is not None:
                self.check_board()
            return
        if head == "setoption":
            name, value = setoption_parts(text)
            if name == "UCI_Chess960":
                on = value == "true"
                if on != self.chess960:
                    self.belief = None  # castling rights were read under the other rule
                self.chess960 = on
            elif name == "UCI_ShowWDL":
                self.show_wdl = value == "true"
            elif name == "MultiPV" and spin_value(value) is not None:
                self.multipv = min(256, max(1, spin_value(value)))
            elif name == "Clear Hash":
                self.since_mark = []
                self.send(text)
                self.sync()
                if "info string Hash cleared" not in self.since_mark:
                    raise Failure("protocol", "no reply to %r" % text[:200])
                return
            elif name == "NetFile" and value not in ("", "<empty>"):
                # Any file that opens counts as loaded, a truncated or junk one too (only the open is checked).
                self.net_ok = os.path.exists(os.path.join(self.workdir, value))
        elif head == "go":
            if not self.net_ok:
                self.refusals_expected += 1
            else:
                allowed = set()
                if "searchmoves" in w and self.belief is not None:
                    legal = self.legal(self.belief, self.chess960)
                    for t in w[w.index("searchmoves") + 1:]:
                        if t in GO_WORDS:
                            break
                        if t in legal:
                            allowed.add(t)
                self.searches.append(Search(self.belief, self.chess960, allowed, self.multipv, self.show_wdl))
        self.send(text)
        if head == "isready" and len(w) == 1:
            self.pump_until(lambda l: l == "readyok", 10 * self.scale, "readyok")

    def sync(self):
        self.send("isready")
        self.pump_until(lambda l: l == "readyok", 15 * self.scale, "readyok")

    def check_board(self):
        self.sync()  # the pictures of earlier commands must not count
        self.since_mark = []
        self.send("showboard")
        self.sync()
        rows = [l for l in self.since_mark if l.startswith("| ")]
        if self.belief is None:
            return
        if len(rows) != 8:
            raise Failure("protocol", "showboard printed %d rows" % len(rows))
        for i, row in enumerate(rows):
            cells = [row[j] for j in range(2, 32, 4)]
            want = [c if c != "." else " " for c in self.belief.board[(7 - i) * 8:(8 - i) * 8]]
            if cells != want:
                raise Failure("position", "the board differs from the expected %s" % self.belief.fen(self.chess960))


# ---------------------------------------------------------------- batches

def prepare_workdir(net):
    d = tempfile.mkdtemp(prefix="quorvane-fuzz-")
    os.symlink(os.path.abspath(net), os.path.join(d, NET_NAME))
    with open(os.path.join(d, BAD_NET), "wb") as f:
        f.write(bytes(random.Random(7).randrange(256) for _ in range(5000)))
    with open(os.path.join(d, "perftFRC.txt"), "w") as f:
        f.write(PERFT_FILE)
    os.mkdir(os.path.join(d, "junk"))
    with open(os.path.join(d, "junk", "KQvK.rtbw"), "wb") as f:
        f.write(b"\x00" * 100)
    return d


def run_one(engine, workdir, actions, scale):
    runner = Runner(engine, workdir, scale)
    try:
        runner.run(actions)
        return None
    except Failure as f:
        return f


def shrink(engine, workdir, actions, failure, scale, budget=80):
    """Removes actions while the same kind of failure remains."""
    current = list(actions)
    tries = 0
    chunk = max(1, len(current) // 2)
    while chunk >= 1 and tries < budget:
        i, removed = 0, False
        while i < len(current) and tries < budget:
            trial = current[:i] + current[i + chunk:]
            tries += 1
            got = run_one(engine, workdir, trial, scale)
            if got is not None and got.kind == failure.kind:
                current, failure, removed = trial, got, True
            else:
                i += chunk
        if not removed:
            chunk //= 2
    return current, failure


_WORK = {}


def worker_init(engine, net, scale):
    _WORK["engine"], _WORK["scale"] = engine, scale
    _WORK["dir"] = prepare_workdir(net)


def worker_run(job):
    seed, index = job
    actions = generate(seed, index)
    failure = run_one(_WORK["engine"], _WORK["dir"], actions, _WORK["scale"])
    if failure is None:
        return index, None, None
    small, failure = shrink(_WORK["engine"], _WORK["dir"], actions, failure, _WORK["scale"])
    return index, str(failure), small


def check_logs(paths):
    """Counts the lines of engine logs that are no whole known reply."""
    bad = lines = 0
    for path in paths:
        with open(path, "rb") as f:
            data = f.read()
        for i, raw in enumerate(data.split(b"\n")[:-1]):
            line = raw.decode("latin-1")
            lines += 1
            ok = (line == "" and i < 4) or any(p.fullmatch(line) for p in KNOWN_LINES) or (
                INFO_STRING.fullmatch(line) and not any(m in line[12:] for m in TORN_MARKS))
            if not ok:
                bad += 1
                if bad <= 20:
                    print("%s:%d: %r" % (path, i + 1, line[:300]))
        if data and not data.endswith(b"\n"):
            bad += 1
            print("%s: last line without its end" % path)
    print("line check: %d lines in %d logs, %d torn or unknown" % (lines, len(paths), bad))
    return 1 if bad else 0


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    root = os.path.dirname(os.path.dirname(os.path.dirname(here)))
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("--engine", default=os.path.join(root, "build", "quorvane"))
    ap.add_argument("--net", default=os.path.join(root, NET_NAME))
    ap.add_argument("--seed", default="1")
    ap.add_argument("--count", type=int, default=100)
    ap.add_argument("--first", type=int, default=0, help="index of the first sequence")
    ap.add_argument("--jobs", type=int, default=1)
    ap.add_argument("--timeout-scale", type=float, default=1.0, help="longer waits for slow (sanitizer) builds")
    ap.add_argument("--out", default="fuzz-failures", help="directory for reproducers")
    ap.add_argument("--replay", help="run one reproducer file and report")
    ap.add_argument("--show", type=int, help="print the commands of one sequence index and exit")
    ap.add_argument("--check-logs", nargs="+", metavar="LOG", help="only check that every line of these engine logs "
                                                                   "is a whole known reply (the stress games)")
    args = ap.parse_args()
    args.engine = os.path.abspath(args.engine)  # the engine runs in a scratch directory

    if args.check_logs:
        return check_logs(args.check_logs)
    if not os.path.exists(args.engine):
        print("engine not found: %s" % args.engine)
        return 2
    if args.show is not None:
        for kind, data in generate(args.seed, args.show):
            print(kind, data if kind != "line" else data[:300])
        return 0
    if args.replay:
        with open(args.replay) as f:
            actions = json.load(f)["actions"]
        d = prepare_workdir(args.net)
        try:
            failure = run_one(args.engine, d, actions, args.timeout_scale)
        finally:
            shutil.rmtree(d, ignore_errors=True)
        print("failed: %s" % failure if failure else "passed")
        return 1 if failure else 0

    jobs = [(args.seed, i) for i in range(args.first, args.first + args.count)]
    failures = 0
    done = 0
    start = time.monotonic()
    with multiprocessing.Pool(args.jobs, worker_init, (args.engine, args.net, args.timeout_scale)) as pool:
        for index, failure, small in pool.imap_unordered(worker_run, jobs):
            done += 1
            if failure:
                failures += 1
                os.makedirs(args.out, exist_ok=True)
                path = os.path.join(args.out, "seed-%s-%d.json" % (args.seed, index))
                with open(path, "w") as f:
                    json.dump({"seed": args.seed, "index": index, "failure": failure, "actions": small}, f, indent=1)
                print("FAIL seed %s sequence %d: %s" % (args.seed, index, failure[:500]))
                print("  minimal reproducer (%d steps) in %s; run: python3 %s --replay %s" %
                      (len(small), path, os.path.relpath(__file__), path))
                for kind, data in small:
                    print("    %s %s" % (kind, (data if isinstance(data, (int, float)) or data is None
                                                 else repr(data[:200]))))
            if done % 500 == 0:
                print("%d sequences, %d failed, %.0f s" % (done, failures, time.monotonic() - start), flush=True)
    print("fuzz seed %s: %d sequences (%d..%d), %d failed, %.1f s" %
          (args.seed, done, args.first, args.first + args.count - 1, failures, time.monotonic() - start))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
