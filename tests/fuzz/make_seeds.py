#!/usr/bin/env python3
# Writes the seeds of fuzz_interpreter and fuzz_serial_framing under
# tests/fuzz/data/ from the interpreter case files and the status dumps. Run
# once from the repository root; the files are committed, as are the hand-made
# seeds of the other targets (their input formats head each target's source).
import glob
import os
import re

MODELS = ["ZLT8AC", "ZLT8ACV", "ZLT4AC", "ZLT4AC2", "ZLT2AC", "ZLT8DC", "ZLT9XX", ""]
MODES = [0, 1, 3, 4, 5, 6, 7, 11, 12, 13, 14, 2]


def write(name, model, mode, messages, line):
    # fuzz_interpreter: a first byte (the model in the low 3 bits, the mode above) and the messages;
    # fuzz_serial_framing: the bytes on the line.
    head = bytes([MODELS.index(model if model in MODELS else "ZLT9XX") | (MODES.index(mode) << 3)])
    for target, data in (("interpreter", head + b"\0".join(messages)), ("serial_framing", line)):
        os.makedirs(f"tests/fuzz/data/{target}", exist_ok=True)
        open(f"tests/fuzz/data/{target}/{name}", "wb").write(data)


unescape = {"r": "\r", "n": "\n", "t": "\t", "\\": "\\", "s": " "}
for path in sorted(glob.glob("tests/interpreter/**/*.cases", recursive=True)):
    # One case a line; a line that starts with blanks and "| " continues the case above it.
    text = re.sub(r"\n[ \t]+\| ", " | ", open(path, encoding="utf-8").read())
    every = []
    for n, line in enumerate(l for l in text.splitlines() if l and not l.startswith(("#", "strict:"))):
        fields = [f.partition(": ")[::2] for f in line.split(" | ")]
        if fields[0][0] == "every":
            every = fields[1:]
            continue
        given = dict(every + fields)
        sends = [re.sub(r"\\(.)", lambda m: unescape.get(m.group(1), m.group(0)), v).encode()
                 for k, v in every + fields if k == "send"]
        if sends:
            write(f"{os.path.basename(path)[:-6]}-{n:03d}", given.get("model", ""), int(given.get("mode", 0)), sends,
                  b"\r\n".join(sends) + b"\r\n")
for path in sorted(glob.glob("tests/interpreter/status/data/*.dump")):
    model, rows = os.path.basename(path)[:-5], open(path, "rb").read().splitlines()
    # On the line, the last row is ended by '.' and silence.
    write(f"dump-{model}", model, 0, rows, b"\r\n".join(rows) + b".\xff\x0b")
