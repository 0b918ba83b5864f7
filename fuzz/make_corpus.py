#!/usr/bin/env python3
"""Writes the seed corpora of the fuzz targets into fuzz/corpus/<target>/ from books that
kestrum-cli makes: a new book, a generated book of 50 transactions and one of its parts.

usage: fuzz/make_corpus.py KESTRUM_CLI

Each seed starts with the byte that makes its target read the rest the intended way (see the
target's comment). The seeds are small and checked in; run this again when a format changes.
"""
import os
import struct
import subprocess
import sys
import tempfile
import zlib

HERE = os.path.dirname(os.path.abspath(__file__))
# The record kinds of record_body_fuzz, in its order.
BODY_TYPES = [10, 100, 101, 102, 103, 104, 105, 106, 107, 108, 109, 110, 111, 200, 201, 202, 203]


def records(stream):
    """(header bytes, body bytes) of each record of a record stream."""
    at = 0
    while at + 40 <= len(stream):
        size = struct.unpack_from("<I", stream, at + 32)[0]
        yield stream[at:at + 40], stream[at + 40:at + 40 + size]
        at += 40 + size


def whole_records(stream, limit):
    """The longest prefix of whole records no longer than `limit` bytes."""
    end = 0
    for head, body in records(stream):
        if end + 40 + len(body) > limit:
            break
        end += 40 + len(body)
    return stream[:end]


def write(target, name, data):
    folder = os.path.join(HERE, "corpus", target)
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, name), "wb") as f:
        f.write(data)


def main():
    cli = sys.argv[1]
    with tempfile.TemporaryDirectory() as tmp:
        new, generated = os.path.join(tmp, "new.kestrum"), os.path.join(tmp, "gen.kestrum")
        subprocess.run([cli, "new", new], check=True, stdout=subprocess.DEVNULL)
        subprocess.run([cli, "generate", generated, "--transactions", "50", "--seed", "3"],
                       check=True, stdout=subprocess.DEVNULL)
        new_bytes = open(new, "rb").read()
        gen_bytes = open(generated, "rb").read()
    stream = zlib.decompress(gen_bytes[1024:])
    sample = whole_records(stream, 6000)

    write("database_file_fuzz", "new-book", b"\x00" + new_bytes)
    write("database_file_fuzz", "generated-50", b"\x00" + gen_bytes)
    write("database_file_fuzz", "uncompressed-records", b"\x01" + sample)
    write("part_file_fuzz", "records", b"\x00" + sample)
    part = zlib.compress(b"VDBPART" + struct.pack("<IQ", 440, 7) + sample, 1)
    write("part_file_fuzz", "part", b"\x01" + part)
    write("decompress_fuzz", "record-area", gen_bytes[1024:])
    write("decompress_fuzz", "new-book-area", new_bytes[1024:])
    seen = set()
    for head, body in records(stream):
        kind, version = struct.unpack_from("<II", head, 24)
        if kind not in BODY_TYPES or kind in seen:
            continue
        seen.add(kind)
        seed = bytes([BODY_TYPES.index(kind)]) + struct.pack("<I", version) + body
        write("record_body_fuzz", "type-%d" % kind, seed)


if __name__ == "__main__":
    main()
