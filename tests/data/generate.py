#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Writes the files in hex/ and esv/ beside this script: well-formed ones and nasty ones. Always the same bytes.

With --check it writes nothing and fails when a file differs from what it would write."""

import pathlib
import sys

HERE = pathlib.Path(__file__).resolve().parent
END = ":00000001FF\r\n"
LOW = ":020000040000FA\r\n"
HIGH = ":020000040030CA\r\n"


def record(address, data, kind=0, checksum=None):
    fields = bytes([len(data), address >> 8, address & 255, kind]) + bytes(data)
    if checksum is None:
        checksum = -sum(fields) & 255
    return ":" + fields.hex().upper() + "%02X\r\n" % checksum


def records(address, data, length=16):
    return "".join(record(address + i, data[i:i + length]) for i in range(0, len(data), length))


def noise(count, limit, seed):
    """Numbers below `limit` that look random."""
    numbers = []
    for _ in range(count):
        seed = (seed * 6364136223846793005 + 1442695040888963407) % 2**64
        numbers.append((seed >> 33) % limit)
    return numbers


def words(numbers):
    return b"".join(number.to_bytes(2, "little") for number in numbers)


def hex_files():
    program = words(noise(200, 16384, 1))
    whole_slave = words(noise(8192, 16384, 2))
    whole_master = bytes(noise(32768, 256, 3))
    return {
        # the slave's
        "slave-small": records(0, program) + END,
        "slave-whole": records(0, whole_slave) + END,
        "slave-beyond": records(2 * 8190, words([1, 2, 3, 4])) + record(0x400E, words([0x3F32])) + END,
        "slave-nothing-in-reach": record(0x400E, words([0x3F32])) + END,
        "slave-protected": records(2 * 6143, words([0x0AAA, 0x0BBB])) + END,
        "slave-extended-address": LOW + records(0x20, program[:32]) + END,
        "slave-word-too-large": records(0, program[:16]) + record(16, bytes([0x00, 0x80])) + END,
        # the master's
        "master-small": LOW + records(0x1000, bytes(range(256))) + END,
        "master-whole": LOW + records(0, whole_master) + END,
        "master-no-bank": records(0x1000, bytes(range(256))) + END,
        "master-banks": records(0x1000, b"early!") + LOW + records(0x1000, b"in it ") + HIGH
        + records(0x1002, b"away..") + LOW + records(0x1004, b"back") + END,
        "master-odd-configuration": LOW + records(0x1000, b"flash!") + HIGH + record(1, b"\x0C") + record(2, b"\x1E")
        + END,
        "master-beyond": LOW + records(0x7FFE, b"abcd") + END,
        "master-last-pair": LOW + records(0x7FFE, b"ab") + END,
        "master-odd-address-at-the-end": LOW + records(0x7FFF, b"ab") + END,
        # either's
        "empty": "",
        "only-end": END,
        "only-comments": "; nothing\r\n\r\n \r\n",
        "no-end": LOW + records(0x1000, program[:32]),
        "after-end": LOW + records(0x1000, program[:32]) + END + ":this is no record\r\n" + records(0x1000, b"late"),
        "end-without-colon": LOW + "; 000001\r\n" + records(0x1000, program[:16]) + END,
        "end-is-all": ":zz????01\r\n:garbage\r\n",
        "line-feeds": (LOW + records(0x1000, program[:48]) + END).replace("\r\n", "\n"),
        "carriage-returns": (LOW + records(0x1000, program[:48]) + END).replace("\r\n", "\r"),
        "no-last-line-end": (LOW + records(0x1000, program[:16])).rstrip(),
        "trailing-blanks": (LOW + records(0x1000, program[:16]) + END).replace("\r\n", "  \r\n"),
        "wrong-checksums": LOW + record(0x1000, program[:16], checksum=0) + record(0x1010, program[16:32], checksum=1)
        + END,
        "missing-checksum": LOW + record(0x1000, program[:16]).rstrip()[:-2] + "\r\n" + END,
        "empty-record": LOW + record(0x1000, b"") + record(0x1000, b"\x12\x05") + END,
        "longest-record": LOW + records(0x1000, words(noise(127, 16384, 4)), 254) + END,
        # malformed
        "odd-count": LOW + record(0x1000, b"\x01\x02\x03") + END,
        "short": LOW + record(0x1000, program[:16]).rstrip()[:-6] + "\r\n" + END,
        "short-header": LOW + ":0210\r\n" + END,
        "colon-only": LOW + ":\r\n" + END,
        "lower-case": LOW + record(0x1000, b"\xAB\x0C").lower() + END,
        "lower-case-checksum": LOW + ":02100000AB0C" + "37\r\n:02100200AB1Cfe\r\n" + END,
        "digit-in-count": LOW + ":0G100000AB0C37\r\n" + END,
        "digit-in-address": LOW + ":0210/000AB0C37\r\n" + END,
        "digit-in-type": LOW + ":021000:0AB0C37\r\n" + END,
        "digit-in-data": LOW + ":02100000A@0C37\r\n" + END,
        "zero-bytes": LOW + ":02100000\0\0\0\0\0\0\r\n" + END,
        "accents": LOW + ":02100000\xE9\xE9\xE9\xE937\r\n" + END,
    }


def esv(numbers):
    return "".join(" %d \r\n" % number for number in numbers)


def esv_files():
    ramp = list(range(256))
    image = noise(256, 256, 5)
    return {
        "ramp": esv(ramp),
        "noise": esv(image),
        "all-255": esv([255] * 256),
        "commas": ",".join(str(number) for number in image) + "\r\n",
        "mixed-separators": "".join("%d%s" % (n, "," if n % 3 else "\n") for n in image),
        "no-blanks": "".join("%d\r\n" % number for number in image),
        "much-blank": "".join("\t  %d   \n" % number for number in image),
        "carriage-returns": "".join("%d\r" % number for number in image),
        "leading-zeros": "".join("%08d\r\n" % number for number in image),
        "no-last-line-end": esv(image).rstrip(),
        "more-than-256": esv(image + [1, 2, 3]) + "end\r\n",
        "short": esv(image[:100]),
        "one-short": esv(image[:255]),
        "empty": "",
        "blank-line": esv(image[:10]) + "\r\n" + esv(image[10:]),
        "256": esv(image[:20] + [256] + image[21:]),
        "negative": esv(image[:20]) + "-1 \r\n" + esv(image[21:]),
        "plus": esv(image[:20]) + "+1 \r\n" + esv(image[21:]),
        "huge": esv(image[:20]) + "9" * 100 + "\r\n" + esv(image[21:]),
        "fraction": esv(image[:20]) + "1.5\r\n" + esv(image[21:]),
        "word": esv(image[:20]) + "douze\r\n" + esv(image[21:]),
        "two-on-a-line": esv(image[:20]) + "1 2\r\n" + esv(image[22:]),
        "zero-byte": esv(image[:20]) + "1\0\r\n" + esv(image[21:]),
    }


def main():
    files = {HERE / "hex" / (name + ".HEX"): text for name, text in hex_files().items()}
    files.update({HERE / "esv" / (name + ".ESV"): text for name, text in esv_files().items()})
    wrong = []
    for path, text in files.items():
        path.parent.mkdir(exist_ok=True)
        data = text.encode("latin-1")
        if "--check" not in sys.argv:
            path.write_bytes(data)
        elif not path.exists() or path.read_bytes() != data:
            wrong.append(path.name)
    wrong += [path.name for folder in ("hex", "esv") for path in (HERE / folder).iterdir() if path not in files]
    if wrong:
        sys.exit("not as generated: " + " ".join(sorted(wrong)))


if __name__ == "__main__":
    main()
