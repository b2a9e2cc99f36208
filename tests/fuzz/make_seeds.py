#!/usr/bin/env python3
# Writes the fuzz targets' seed corpora under tests/fuzz/data/ from the
# interpreter case files and the status dumps. Run once from the repository
# root; the files are committed.
import glob
import os
import re

MODELS = ["ZLT8AC", "ZLT8ACV", "ZLT4AC", "ZLT4AC2", "ZLT2AC", "ZLT8DC", "ZLT9XX", ""]
MODES = [0, 1, 3, 4, 5, 6, 7, 11, 12, 13, 14, 2]
HANDSHAKE = (b"GET / HTTP/1.1\r\nHost: 127.0.0.1:45678\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
             b"Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n\r\n")


def first_byte(model, mode):
    return bytes([MODELS.index(model if model in MODELS else "ZLT9XX") | (MODES.index(mode) << 3)])


def write(target, name, data):
    os.makedirs(f"tests/fuzz/data/{target}", exist_ok=True)
    open(f"tests/fuzz/data/{target}/{name}", "wb").write(data)


def cases():
    table = {"r": "\r", "n": "\n", "t": "\t", "\\": "\\", "s": " "}
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
            sends = [re.sub(r"\\(.)", lambda m: table.get(m.group(1), m.group(0)), v).encode()
                     for k, v in every + fields if k == "send"]
            if sends:
                yield f"{os.path.basename(path)[:-6]}-{n:03d}", given.get("model", ""), int(given.get("mode", 0)), sends


def main():
    for name, model, mode, sends in cases():
        write("interpreter", name, first_byte(model, mode) + b"\0".join(sends))
        write("serial_framing", name, b"\r\n".join(sends) + b"\r\n")
    for path in sorted(glob.glob("tests/interpreter/status/data/*.dump")):
        model, rows = os.path.basename(path)[:-5], open(path, "rb").read().splitlines()
        write("interpreter", f"dump-{model}", first_byte(model, 0) + b"\0".join(rows))
        # The same dump on the line, the last row ended by '.' and silence.
        write("serial_framing", f"dump-{model}", b"\r\n".join(rows) + b".\xff\x0b")
    # WebSocket: a first byte (piece size; 0x80: the request from the input),
    # then entries h, length, payload (h: FIN 0x80, raw 0x40, unmasked 0x10, opcode).
    frames = (b"\x81\x0dStartAudioMic" + b"\x89\x04ping" + b"\x01\x03Get" + b"\x80\x06Status"
              + b"\x82\xc8" + b"y" * 200 + b"\x88\x02\x03\xe8")
    write("websocket", "frames", b"\x07" + frames)
    write("websocket", "request", b"\x9f" + HANDSHAKE + frames)
    write("websocket", "raw", b"\x03\x41\x0e\x82\xff" + b"\x7f" * 8 + b"\x00\x00\x00\x00")
    # TCP input: a first byte (block size), then what the peer sends.
    write("tcp_input", "command", b"\x0fGUISTATUS\r\n<GetPowerStatus\r\n")
    write("tcp_input", "browser", b"\x05POST /x HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\nGUISTATUS\r\n")
    write("tcp_input", "telnet-negotiation", b"\x03\xff\xfb\x01\xff\xfb\x03GUISYSTIME\r\n")
    # Hand-overs: port (bit 0), descriptor count, slot, flag.
    write("fd_handover", "open-close", bytes([0, 1, 1, 1, 1, 1, 1, 1, 0, 0, 1, 0, 1, 0, 1, 0]))
    write("fd_handover", "several", bytes([0, 3, 2, 1, 1, 64, 3, 0xFF, 0, 0, 0, 1]))


main()
