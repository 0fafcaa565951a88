#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Writes the files of tests/data/profiles: well-formed and nasty files of the external EEPROMs.

The same bytes come out every time; run it after a change and commit what it wrote.
"""

from pathlib import Path

FOLDER = Path(__file__).parent / "profiles"
SLOTS = 127
LINES = 256

NAMES = ["AA NiMh 2000 x4 ", "AA NiCd 800 x6  ", "LiPo 2200 3S    ", "Pack \xe9t\xe9 \xb5A 8   "]
TEXTS = ["000004200100011003090", "002106080040013012090", "004203220220020001300", "126008999255991059000"]


def profiles():
    """127 names and parameter texts, four that somebody would use and then plain ones."""
    for slot in range(SLOTS):
        if slot < len(NAMES):
            yield NAMES[slot], TEXTS[slot]
        else:
            yield f"Type {slot + 1}".ljust(16), f"{slot * 2 % 256:03}{slot % 3}{slot % 16:02}".ljust(21, "0")


def entries():
    return [text for pair in profiles() for text in pair]


def join(lines, end="\r\n"):
    return "".join(line + end for line in lines).encode("latin-1")


def all_bytes():
    """4096 bytes with every value on every place of a line."""
    return bytes((i * 7 + i // 16) % 256 for i in range(16 * LINES))


def main():
    FOLDER.mkdir(exist_ok=True)
    two_headers = ["006", "006", *entries()]
    line_ends = two_headers.copy()
    line_ends[2] = "\r\n\r\n\r\n\r\n\r\n\r\n\r\n\r\n"
    line_ends[4] = "fin de ligne \r\n\x1a"
    memory = all_bytes()

    def changed(entry, text):
        lines = two_headers.copy()
        lines[entry] = text
        return join(lines)

    files = {
        # battery types
        "types": join(two_headers),
        "types_one_header": join(["006", *entries()]),
        "types_header_like_a_name": join(["006", "006", *entries()[1:]]),
        "types_two_unlike_headers": join(["006", "007", *entries()]),
        "types_fresh": join(["---", "---"] + ["-" * 16, "0" * 24] * 64 + [""] * 126),
        "types_short": join(two_headers[:7]),
        "types_header_only": join(["012"]),
        "types_long": join([*two_headers, "de trop", "000"]),
        "types_line_feeds": join(two_headers, "\n"),
        "types_no_last_line_end": join(two_headers)[:-2],
        "types_end_mark": join(two_headers) + b"\x1a",
        "types_bytes_like_line_ends": join(line_ends),
        "types_flags_300": changed(3, "300" + TEXTS[0][3:]),
        "types_letters": changed(5, "00x106080040013012090"),
        "types_blanks": changed(3, " 16  4 10 10 130 3 90"),
        "types_long_name": changed(2, "Un nom de plus de seize lettres"),
        # images
        "image": b"".join(memory[i : i + 16] + b"\r\n" for i in range(0, len(memory), 16)),
        "image_lines": join(["Pret", "Charge", *(f"mesg  {i}" for i in range(2, LINES))]),
        "image_short": join(["Pret", "Charge"]),
        "image_long_lines": join(["Une ligne de plus de seize lettres", *(f"Message {i}" for i in range(1, LINES))]),
        # neither
        "empty": b"",
        "line_ends": b"\r\n" * 300,
        "zeros": bytes(5000),
        "ones": b"\xff" * 5000,
        "one_long_line": b"0" * 20000,
        "carriage_returns": b"\r" * 4608,
    }
    for name, content in files.items():
        (FOLDER / f"{name}.ESV").write_bytes(content)


if __name__ == "__main__":
    main()
