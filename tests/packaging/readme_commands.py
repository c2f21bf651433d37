#!/usr/bin/env python3
"""Keeps the READMEs' commands true to the repository.

Every command a README shows, in a code block or in backticks, is read and
checked: the repository files it names exist, the programs it names from build/
are built, and the options it passes to a program are ones that program's usage
text (or, for a script, its source) knows. The cheap ones, the engine's own
command-line commands, are run and must succeed.

usage: readme_commands.py SOURCE_DIR BUILD_DIR
"""
import os
import re
import shlex
import subprocess
import sys

SOURCE, BUILD = sys.argv[1], sys.argv[2]
READMES = ["README.md"] + sorted(
    os.path.join("tools", d, "README.md") for d in os.listdir(os.path.join(SOURCE, "tools"))
    if os.path.isfile(os.path.join(SOURCE, "tools", d, "README.md")))
# Words that start a command line in a README (the rest of a code block is file contents).
COMMAND_START = re.compile(r"^(\./)?(build|tools|tests)/|^(bash|python3|cmake|make|man)\b")
# Engine commands cheap enough to run on every test run.
CHEAP_ENGINE = re.compile(r"^(perft [1-5]|bench( [1-9])?|bench|help)$")

failures = []
checked = 0
usage_cache = {}


def fail(readme, line, why):
    failures.append(f"{readme}:{line}: {why}")


def code_commands(text):
    """(line number, command) of each command in the indented code blocks: lines
    indented by four or more spaces after a blank line or another such line."""
    out, pending, previous = [], None, "blank"
    for n, line in enumerate(text.split("\n"), 1):
        if not line.strip():
            previous = "blank" if previous != "code" else "code-gap"
            continue
        is_code = re.match(r"^ {4,}\S", line) is not None and previous in ("blank", "code", "code-gap")
        previous = "code" if is_code else "text"
        if not is_code:
            continue
        command = line.strip()
        if pending is not None:
            pending = (pending[0], pending[1] + " " + command.rstrip("\\").strip())
        elif COMMAND_START.search(command):
            pending = (n, command.rstrip("\\").strip())
        if pending is not None and not command.endswith("\\"):
            out.append(pending)
            pending = None
    return out


def inline_commands(text):
    """(line number, command) of commands in backticks that name a program of build/ or tools/."""
    out = []
    for n, line in enumerate(text.split("\n"), 1):
        for m in re.finditer(r"`([^`]+)`", line):
            snippet = m.group(1).strip()
            if re.match(r"^(\./)?build/[a-z_]+( |$)|^(bash |python3 )?tools/\S+\.(sh|py)( |$)", snippet):
                out.append((n, snippet))
    return out


def usage_text(program):
    """A build program's usage text, or None where it prints none for --help."""
    if program not in usage_cache:
        try:
            r = subprocess.run([program, "--help"], capture_output=True, text=True, timeout=20, stdin=subprocess.DEVNULL)
            text = r.stdout + r.stderr
        except (OSError, subprocess.TimeoutExpired):
            text = ""
        usage_cache[program] = text if "usage" in text.lower() else None
    return usage_cache[program]


def check_simple(readme, n, words, inline):
    """One simple command (no pipes or &&)."""
    global checked
    if words and words[0] in ("bash", "python3"):
        words = words[1:]
    if not words:
        return
    program = words[0]
    options = [w.split("=")[0] for w in words[1:] if re.match(r"^--[a-z][a-z0-9-]*", w) and w != "--help"]
    # Paths into the repository, anywhere on the line.
    for w in words:
        for path in re.findall(r"(?:^|[\s=])((?:tools|tests|doc|cmake|networks)/[\w./-]+)", " " + w):
            if not os.path.exists(os.path.join(SOURCE, path.rstrip("."))):
                fail(readme, n, f"names {path}, which the repository does not have")
    m = re.match(r"^(?:\./)?build/([a-z_]+)$", program)
    if m:
        built = os.path.join(BUILD, m.group(1))
        checked += 1
        if not os.access(built, os.X_OK):
            fail(readme, n, f"names build/{m.group(1)}, which the build does not make")
            return
        usage = usage_text(built) if options else None
        if usage is not None:
            for o in options:
                if o not in usage:
                    fail(readme, n, f"passes {o} to {m.group(1)}, whose usage text does not know it")
        if m.group(1) == "quorvane" and (not inline or CHEAP_ENGINE.match(" ".join(words[1:]))):
            run_engine(readme, n, words[1:])
    elif re.match(r"^tools/\S+\.(sh|py)$", program):
        checked += 1
        script = os.path.join(SOURCE, program)
        if os.path.isfile(script):
            source = open(script, encoding="utf-8").read()
            for o in options:
                if o not in source:
                    fail(readme, n, f"passes {o} to {program}, which does not read it")


def run_engine(readme, n, args):
    """Runs the engine as the README shows it, when that is cheap."""
    line = " ".join(args)
    if args and not CHEAP_ENGINE.match(line):
        return
    engine = os.path.join(BUILD, "quorvane")
    try:
        r = subprocess.run([engine] + args, capture_output=True, text=True, timeout=300, cwd=BUILD,
                           stdin=subprocess.DEVNULL)
    except subprocess.TimeoutExpired:
        fail(readme, n, f"quorvane {line} did not finish")
        return
    print(f"ran: quorvane {line}".rstrip())
    # Without arguments the engine reads standard input; at its end it quits.
    if r.returncode != 0 or "Unknown command" in r.stdout:
        fail(readme, n, f"quorvane {line} failed (status {r.returncode}): {r.stdout[-300:]}")


for readme in READMES:
    text = open(os.path.join(SOURCE, readme), encoding="utf-8").read()
    for inline, commands in ((False, code_commands(text)), (True, inline_commands(text))):
        for n, command in commands:
            for part in re.split(r"\s*(?:&&|\|\||;|\|)\s*", re.sub(r"\s+#.*$", "", command)):
                try:
                    words = shlex.split(part)
                except ValueError:
                    words = part.split()
                words = [w for w in words if not re.match(r"^[A-Z_]+=", w)]  # VAR=value prefixes
                check_simple(readme, n, words, inline)

for f in failures:
    print(f)
print(f"{checked} commands checked in {len(READMES)} READMEs, {len(failures)} faults")
sys.exit(1 if failures else 0)
