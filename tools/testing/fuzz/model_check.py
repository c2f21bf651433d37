"""Checks the fuzzer's rules model against Debian's stockfish (run as an oracle only):
the legal moves of random positions from standard and Chess960 games, and of
positions one move further, must be the same sets.

  python3 tools/testing/fuzz/model_check.py [positions] [seed]
"""
import os
import random
import subprocess
import sys
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import chessmodel as cm
sf=subprocess.Popen(['/usr/games/stockfish'],stdin=subprocess.PIPE,stdout=subprocess.PIPE,text=True,bufsize=1)
def cmd(c): sf.stdin.write(c+'\n'); sf.stdin.flush()
def moves_of(fen, c960):
    cmd('setoption name UCI_Chess960 value %s' % ('true' if c960 else 'false'))
    cmd('position fen '+fen); cmd('go perft 1')
    out=set()
    while True:
        l=sf.stdout.readline().strip()
        if l.startswith('Nodes searched'): return out
        if ':' in l and len(l.split(':')[0]) in (4,5): out.add(l.split(':')[0])
count = int(sys.argv[1]) if len(sys.argv) > 1 else 600
rng=random.Random(int(sys.argv[2]) if len(sys.argv) > 2 else 5); bad=0; n=0
for i in range(count):
    c960 = i%2==1
    fen = cm.chess960_start(rng) if c960 else cm.START_FEN
    pos=cm.parse_fen(fen,c960)
    _,pos=cm.random_game(pos, rng.randint(0,80), rng, c960)
    if not pos.legal_moves(): continue
    f=pos.fen(c960)
    mine=set(pos.legal_texts(c960)); theirs=moves_of(f,c960); n+=1
    if mine!=theirs:
        bad+=1; print('DIFF',f,c960,sorted(mine^theirs))
    # one ply deeper
    for m in list(pos.legal_moves())[:3]:
        q=pos.make(m)
        if set(q.legal_texts(c960))!=moves_of(q.fen(c960),c960): bad+=1; print('DIFF2',q.fen(c960))
        n+=1
print(n,'positions',bad,'differ')
cmd('quit')
sys.exit(1 if bad else 0)
