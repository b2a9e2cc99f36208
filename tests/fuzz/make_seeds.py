#!/usr/bin/env python3
"""Writes the fuzz targets' seed corpora under tests/fuzz/data/ from the
interpreter case files and the status dumps. Run once from the repository
root; the files are committed."""
import glob
import os
import re
import struct

MODELS = ["ZLT8AC", "ZLT8ACV", "ZLT4AC", "ZLT4AC2", "ZLT2AC", "ZLT8DC", "ZLT9XX", ""]
MODES = [0, 1, 3, 4, 5, 6, 7, 11, 12, 13, 14, 2]
OUT = "tests/fuzz/data"


def unescape(text):
    table = {"r": "\r", "n": "\n", "t": "\t", "\\": "\\", "s": " "}
    return re.sub(r"\\(.)", lambda m: table.get(m.group(1), m.group(0)), text)


def first_byte(model, mode):
    return bytes([MODELS.index(model if model in MODELS else "ZLT9XX") | (MODES.index(mode) << 3)])


def write(target, name, data):
    os.makedirs(f"{OUT}/{target}", exist_ok=True)
    with open(f"{OUT}/{target}/{name}", "wb") as f:
        f.write(data)


def cases():
    for path in sorted(glob.glob("tests/interpreter/**/*.cases", recursive=True)):
        every, blocks = [], open(path, encoding="utf-8").read().split("\n\n")
        for n, block in enumerate(blocks):
            lines = [l for l in block.splitlines() if l and not l.startswith("#")]
            if lines and lines[0] == "every case:":
                every = lines[1:]
                continue
            given = dict(model="", mode=0, sends=[])
            for line in every + lines:
                key, _, value = line.partition(": ")
                if key == "model":
                    given["model"] = value
                elif key == "mode":
                    given["mode"] = int(value)
                elif key == "send":
                    given["sends"].append(unescape(value).encode())
            if given["sends"]:
                name = f"{os.path.basename(path)[:-6]}-{n:03d}"
                yield name, given


def main():
    for name, c in cases():
        write("interpreter", name, first_byte(c["model"], c["mode"]) + b"\0".join(c["sends"]))
        write("serial_framing", name, b"\r\n".join(c["sends"]) + b"\r\n")
    for path in sorted(glob.glob("tests/interpreter/status/data/*.dump")):
        model = os.path.basename(path)[:-5]
        rows = open(path, "rb").read().splitlines()
        write("interpreter", f"dump-{model}", first_byte(model, 0) + b"\0".join(rows))
        # The same dump on the line, the last row ended by '.' and silence.
        write("serial_framing", f"dump-{model}", b"\r\n".join(rows) + b".\xff\x0b")
    handshake = (b"GET / HTTP/1.1\r\nHost: 127.0.0.1:45678\r\nUpgrade: websocket\r\n"
                 b"Connection: Upgrade\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n"
                 b"Sec-WebSocket-Version: 13\r\n\r\n")
    write("websocket", "handshake", handshake)

    def frame(opcode, payload, length_form=None):
        key = b"\x01\x02\x03\x04"
        masked = bytes(b ^ key[i % 4] for i, b in enumerate(payload))
        n = len(payload)
        if length_form == 126 or (length_form is None and 126 <= n < 65536):
            head = bytes([0x80 | opcode, 0x80 | 126]) + struct.pack(">H", n)
        elif length_form == 127:
            head = bytes([0x80 | opcode, 0x80 | 127]) + struct.pack(">Q", n)
        else:
            head = bytes([0x80 | opcode, 0x80 | n])
        return head + key + masked

    write("websocket", "text-frames", frame(1, b"StartAudioMic") + frame(1, b"checkUpgrade"))
    write("websocket", "long-frames", frame(1, b"x" * 200) + frame(2, b"y" * 10, 127))
    write("websocket", "control-frames", frame(9, b"ping") + frame(8, b"\x03\xe8"))
    write("websocket", "after-handshake", handshake + frame(1, b"StopAudioMic"))
    write("tcp_input", "command", b"\x0fGUISTATUS\r\n<GetPowerStatus\r\n")
    write("tcp_input", "telnet-negotiation", b"\x03\xff\xfb\x01\xff\xfb\x03GUISYSTIME\r\n")
    # Hand-overs: port (bit 0), descriptor count, slot, flag.
    write("fd_handover", "open-close", bytes([0, 1, 1, 1, 1, 1, 1, 1, 0, 0, 1, 0, 1, 0, 1, 0]))
    write("fd_handover", "several", bytes([0, 3, 2, 1, 1, 64, 3, 0xFF, 0, 0, 0, 1]))


if __name__ == "__main__":
    main()
