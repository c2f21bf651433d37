"""A small, separate model of the rules of chess (standard and Chess960), used
by the fuzzer to judge the engine's moves without trusting the engine's own
move generator. Slow but plain: a list of 64 squares, a1 = 0, h8 = 63."""

import random
import re

KNIGHT_STEPS = [(1, 2), (2, 1), (2, -1), (1, -2), (-1, -2), (-2, -1), (-2, 1), (-1, 2)]
KING_STEPS = [(1, 0), (1, 1), (0, 1), (-1, 1), (-1, 0), (-1, -1), (0, -1), (1, -1)]
ROOK_DIRS = [(1, 0), (-1, 0), (0, 1), (0, -1)]
BISHOP_DIRS = [(1, 1), (1, -1), (-1, 1), (-1, -1)]
START_FEN = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1"


def sq_name(s):
    return "abcdefgh"[s % 8] + "12345678"[s // 8]


def sq_of(name):
    return (ord(name[1]) - ord("1")) * 8 + ord(name[0]) - ord("a")


def white(piece):
    return piece.isupper()


class Move:
    __slots__ = ("frm", "to", "promo", "kind", "rook")

    def __init__(self, frm, to, promo="", kind="n", rook=-1):
        self.frm, self.to, self.promo, self.kind, self.rook = frm, to, promo, kind, rook

    def text(self, chess960):
        if self.kind == "castle" and chess960:
            return sq_name(self.frm) + sq_name(self.rook)
        return sq_name(self.frm) + sq_name(self.to) + self.promo


class Position:
    def __init__(self):
        self.board = ["."] * 64
        self.white_to_move = True
        self.rights = set()   # rook squares whose castling right is kept
        self.ep = -1          # square passed over by the last double step
        self.half = 0
        self.full = 1

    def copy(self):
        p = Position()
        p.board = self.board[:]
        p.white_to_move = self.white_to_move
        p.rights = set(self.rights)
        p.ep, p.half, p.full = self.ep, self.half, self.full
        return p

    def king(self, is_white):
        k = "K" if is_white else "k"
        for s in range(64):
            if self.board[s] == k:
                return s
        return -1

    def attacked(self, s, by_white):
        b = self.board
        f, r = s % 8, s // 8
        pawn = "P" if by_white else "p"
        pr = r - 1 if by_white else r + 1
        if 0 <= pr < 8:
            for df in (-1, 1):
                if 0 <= f + df < 8 and b[pr * 8 + f + df] == pawn:
                    return True
        knight = "N" if by_white else "n"
        for df, dr in KNIGHT_STEPS:
            if 0 <= f + df < 8 and 0 <= r + dr < 8 and b[(r + dr) * 8 + f + df] == knight:
                return True
        king = "K" if by_white else "k"
        for df, dr in KING_STEPS:
            if 0 <= f + df < 8 and 0 <= r + dr < 8 and b[(r + dr) * 8 + f + df] == king:
                return True
        for dirs, pieces in ((ROOK_DIRS, "RQ"), (BISHOP_DIRS, "BQ")):
            if not by_white:
                pieces = pieces.lower()
            for df, dr in dirs:
                ff, rr = f + df, r + dr
                while 0 <= ff < 8 and 0 <= rr < 8:
                    p = b[rr * 8 + ff]
                    if p != ".":
                        if p in pieces:
                            return True
                        break
                    ff += df
                    rr += dr
        return False

    def in_check(self, is_white=None):
        if is_white is None:
            is_white = self.white_to_move
        k = self.king(is_white)
        return k >= 0 and self.attacked(k, not is_white)

    def pseudo_moves(self):
        b, us = self.board, self.white_to_move
        out = []
        for s in range(64):
            p = b[s]
            if p == "." or white(p) != us:
                continue
            f, r = s % 8, s // 8
            t = p.upper()
            if t == "P":
                step = 8 if us else -8
                last = 7 if us else 0
                start = 1 if us else 6
                one = s + step
                if 0 <= one < 64 and b[one] == ".":
                    self._pawn_to(out, s, one, last)
                    if r == start and b[one + step] == ".":
                        out.append(Move(s, one + step, kind="double"))
                for df in (-1, 1):
                    if not 0 <= f + df < 8:
                        continue
                    to = one + df
                    if not 0 <= to < 64:
                        continue
                    if b[to] != "." and white(b[to]) != us:
                        self._pawn_to(out, s, to, last)
                    elif to == self.ep and b[to] == ".":
                        out.append(Move(s, to, kind="ep"))
            elif t in "NK":
                for df, dr in (KNIGHT_STEPS if t == "N" else KING_STEPS):
                    ff, rr = f + df, r + dr
                    if 0 <= ff < 8 and 0 <= rr < 8:
                        q = b[rr * 8 + ff]
                        if q == "." or white(q) != us:
                            out.append(Move(s, rr * 8 + ff))
            else:
                dirs = ROOK_DIRS if t == "R" else BISHOP_DIRS if t == "B" else ROOK_DIRS + BISHOP_DIRS
                for df, dr in dirs:
                    ff, rr = f + df, r + dr
                    while 0 <= ff < 8 and 0 <= rr < 8:
                        q = b[rr * 8 + ff]
                        if q == "." or white(q) != us:
                            out.append(Move(s, rr * 8 + ff))
                        if q != ".":
                            break
                        ff += df
                        rr += dr
        out.extend(self._castlings())
        return out

    @staticmethod
    def _pawn_to(out, s, to, last):
        if to // 8 == last:
            for letter in "nbrq":
                out.append(Move(s, to, promo=letter))
        else:
            out.append(Move(s, to))

    def _castlings(self):
        us = self.white_to_move
        back = 0 if us else 56
        k = self.king(us)
        out = []
        if k < 0 or k // 8 != back // 8 or self.in_check(us):
            return out
        rook = "R" if us else "r"
        for r in sorted(self.rights):
            if r // 8 != back // 8 or self.board[r] != rook:
                continue
            short = r > k
            kto = back + (6 if short else 2)
            rto = back + (5 if short else 3)
            lo, hi = min(k, kto, r, rto), max(k, kto, r, rto)
            if any(self.board[s] != "." and s not in (k, r) for s in range(lo, hi + 1)):
                continue
            step = 1 if kto >= k else -1
            if any(self.attacked(s, not us) for s in range(k, kto + step, step)):
                continue
            out.append(Move(k, kto, kind="castle", rook=r))
        return out

    def make(self, m):
        p = self.copy()
        b = p.board
        piece = b[m.frm]
        us = self.white_to_move
        captured = b[m.to] if m.kind != "castle" else "."
        if m.kind == "castle":
            rook = b[m.rook]
            b[m.frm] = "."
            b[m.rook] = "."
            back = m.frm - m.frm % 8
            b[m.to] = piece
            b[back + (5 if m.to % 8 == 6 else 3)] = rook
        else:
            b[m.frm] = "."
            b[m.to] = (m.promo.upper() if us else m.promo) if m.promo else piece
            if m.kind == "ep":
                b[m.to - 8 if us else m.to + 8] = "."
                captured = "p"
        if piece.upper() == "K":
            back = 0 if us else 56
            p.rights = {r for r in p.rights if r // 8 != back // 8}
        p.rights.discard(m.frm)
        p.rights.discard(m.to)
        p.ep = (m.frm + m.to) // 2 if m.kind == "double" else -1
        p.half = 0 if piece.upper() == "P" or captured != "." else self.half + 1
        if not us:
            p.full += 1
        p.white_to_move = not us
        return p

    def legal_moves(self):
        us = self.white_to_move
        out = []
        for m in self.pseudo_moves():
            after = self.make(m)
            if not after.in_check(us):
                out.append(m)
        return out

    def legal_texts(self, chess960):
        return {m.text(chess960): m for m in self.legal_moves()}

    def key(self):
        return "".join(self.board) + ("w" if self.white_to_move else "b") + repr(sorted(self.rights)) + str(self.ep)

    def fen(self, chess960):
        rows = []
        for r in range(7, -1, -1):
            row, empty = "", 0
            for f in range(8):
                p = self.board[r * 8 + f]
                if p == ".":
                    empty += 1
                else:
                    row += (str(empty) if empty else "") + p
                    empty = 0
            rows.append(row + (str(empty) if empty else ""))
        rights = ""
        for r in sorted(self.rights, key=lambda s: (s >= 56, -s)):
            file_letter = "abcdefgh"[r % 8]
            is_white = r < 8
            if chess960:
                rights += file_letter.upper() if is_white else file_letter
            else:
                k = "K" if r % 8 == 7 else "Q"
                rights += k if is_white else k.lower()
        if not rights:
            rights = "-"
        else:  # white's rights first, short before long
            rights = "".join(sorted(rights, key=lambda c: (c.islower(), c.upper() not in "K" and c.upper() < "E", c)))
        ep = sq_name(self.ep) if self.ep >= 0 else "-"
        return "%s %s %s %s %d %d" % ("/".join(rows), "w" if self.white_to_move else "b", rights, ep, self.half, self.full)


def castling_ok(p, r, chess960):
    """Whether a right on rook square r can stand, as a GUI-facing engine reads FENs."""
    is_white = r < 8
    back = 0 if is_white else 7
    k = p.king(is_white)
    if k < 0 or k // 8 != back or r // 8 != back or p.board[r] != ("R" if is_white else "r"):
        return False
    if not chess960:
        return k % 8 == 4 and r % 8 in (0, 7)
    return True


# The engine splits its commands at these characters only; Python's own
# split() would also cut at control characters such as \x1c-\x1f and, on
# latin-1 text, at \x85 and \xa0, and so disagree with it on odd input.
ENGINE_BLANKS = " \t\n\v\f\r"


def words(text):
    return [w for w in re.split("[" + re.escape(ENGINE_BLANKS) + "]+", text) if w]


def parse_fen(text, chess960):
    """A Position from a FEN this model writes (or the start position); None
    for anything else: the fuzzer's malformed FENs are judged otherwise."""
    fields = words(text)
    if len(fields) != 6:
        return None
    p = Position()
    rows = fields[0].split("/")
    if len(rows) != 8:
        return None
    for i, row in enumerate(rows):
        r, f = 7 - i, 0
        for c in row:
            if c in "12345678":
                f += int(c)
            elif c in "PNBRQKpnbrqk":
                if f > 7:
                    return None
                p.board[r * 8 + f] = c
                f += 1
            else:
                return None
        if f != 8:
            return None
    if p.board.count("K") != 1 or p.board.count("k") != 1:
        return None
    if any(p.board[s] in "Pp" for s in list(range(8)) + list(range(56, 64))):
        return None
    # Pieces beyond the initial set must come from promotions: one pawn each.
    for side in ("PNBRQ", "pnbrq"):
        pawns = p.board.count(side[0])
        extra = sum(max(0, p.board.count(letter) - start) for letter, start in zip(side[1:], (2, 2, 2, 1)))
        if pawns + extra > 8:
            return None
    if fields[1] not in ("w", "b"):
        return None
    p.white_to_move = fields[1] == "w"
    if p.in_check(not p.white_to_move):
        return None
    if fields[2] != "-":
        for c in fields[2]:
            is_white = c.isupper()
            back = 0 if is_white else 56
            k = p.king(is_white)
            rook = "R" if is_white else "r"
            if c in "KQkq":
                if chess960:
                    return None  # the fuzzer writes file letters in Chess960 mode
                r = back + (7 if c in "Kk" else 0)
            elif c.upper() in "ABCDEFGH":
                if not chess960:
                    return None
                r = back + "ABCDEFGH".index(c.upper())
            else:
                return None
            if castling_ok(p, r, chess960):
                p.rights.add(r)
            elif p.board[r] != rook or k < 0:
                pass
    if fields[3] != "-":
        ep = fields[3]
        if len(ep) != 2 or ep[0] not in "abcdefgh" or ep[1] not in "36":
            return None
        s = sq_of(ep)
        behind = s - 8 if p.white_to_move else s + 8
        front = s + 8 if p.white_to_move else s - 8
        pawn = "p" if p.white_to_move else "P"
        if p.board[behind] == pawn and p.board[s] == "." and p.board[front] == ".":
            p.ep = s
    if not (fields[4].isdigit() and fields[5].isdigit()):
        return None
    p.half, p.full = int(fields[4]), int(fields[5])
    if p.half > 10000 or p.full > 100000:
        return None
    return p


def chess960_start(rng):
    """One of the 960 start positions, castling rights written as file letters."""
    row = [None] * 8
    row[rng.choice([0, 2, 4, 6])] = "B"
    row[rng.choice([1, 3, 5, 7])] = "B"
    free = [i for i in range(8) if row[i] is None]
    row[free.pop(rng.randrange(len(free)))] = "Q"
    free = [i for i in range(8) if row[i] is None]
    row[free.pop(rng.randrange(len(free)))] = "N"
    free = [i for i in range(8) if row[i] is None]
    row[free.pop(rng.randrange(len(free)))] = "N"
    free = [i for i in range(8) if row[i] is None]
    row[free[0]], row[free[1]], row[free[2]] = "R", "K", "R"
    back = "".join(row)
    rights = "ABCDEFGH"[free[2]] + "ABCDEFGH"[free[0]] + "abcdefgh"[free[2]] + "abcdefgh"[free[0]]
    return "%s/pppppppp/8/8/8/8/PPPPPPPP/%s w %s - 0 1" % (back.lower(), back, rights)


def random_game(pos, plies, rng, chess960):
    """Plays up to `plies` random legal moves; returns the texts and the end position."""
    texts = []
    for _ in range(plies):
        moves = pos.legal_moves()
        if not moves or pos.half >= 100:
            break
        m = rng.choice(moves)
        texts.append(m.text(chess960))
        pos = pos.make(m)
    return texts, pos


def perft(pos, depth):
    if depth == 0:
        return 1
    moves = pos.legal_moves()
    if depth == 1:
        return len(moves)
    return sum(perft(pos.make(m), depth - 1) for m in moves)
