#!/usr/bin/env python3
"""Writes the seeds of the fuzzers into fuzz/corpus/: small files that show each branch of a format once.

Those of LAS and binary PLY can't be written by hand; the others stand here beside them.
"""
import pathlib
import struct

SIZES = [20, 28, 26, 34, 57, 63, 30, 36, 38, 59, 67]
CORPUS = pathlib.Path(__file__).parent / "corpus"


def save(name, contents):
    path = CORPUS / name
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_bytes(contents if isinstance(contents, bytes) else contents.encode())


def record(user, number, contents, extended=False):
    length = struct.pack("<Q" if extended else "<H", len(contents))
    return bytes(2) + user.ljust(16, b"\0") + struct.pack("<H", number) + length + bytes(32) + contents


def las(minor, form, records=(), extended=(), extra=0, encoding=0, points=3):
    header_size = [227, 227, 227, 235, 375][minor]
    variable = b"".join(record(*r) for r in records)
    more = b"".join(record(*r, extended=True) for r in extended)
    length = SIZES[form] + extra
    body = b"".join(
        struct.pack("<3i", 100 * i, -7 * i, i) + bytes((i * 31 + k) % 256 for k in range(length - 12))
        for i in range(points))
    start = header_size + len(variable)
    head = b"LASF" + struct.pack("<HH16xBB32s32sHHHIIBHI", 0, encoding, 1, minor, b"seed", b"seed", 1, 2024,
                                 header_size, start, len(records), form, length, points if form < 6 else 0)
    head += bytes(20) + struct.pack("<12d", 0.01, 0.01, 0.001, 5e5, 5e6, 0, 1, 0, 1, 0, 1, 0)
    if minor >= 3:
        head += bytes(8)
    if minor >= 4:
        head += struct.pack("<QIQ", start + len(body) if extended else 0, len(extended), points) + bytes(120)
    assert len(head) == header_size
    return head + variable + body + more


def extra_bytes(*descriptions):
    return b"".join(
        bytes(2) + struct.pack("<BB32s", kind, options, name) + bytes(76) +
        struct.pack("<6d", 0.5, 0.5, 0.5, 1, 1, 1) + bytes(32) for kind, options, name in descriptions)


WKT = (b'PROJCS["u",GEOGCS["g",DATUM["d",SPHEROID["s",6378137,298.25]],PRIMEM["Greenwich",0],'
       b'UNIT["degree",0.0174]],PROJECTION["Transverse_Mercator"],UNIT["metre",1]]\0')
KEYS = struct.pack("<24H", 1, 1, 0, 5, 1024, 0, 1, 1, 1026, 34737, 4, 0, 3072, 0, 1, 25832, 4096, 0, 1, 5783,
                   2057, 34736, 1, 0)
PROJECTION = [(b"LASF_Projection", 34735, KEYS), (b"LASF_Projection", 34736, struct.pack("<d", 6378137)),
              (b"LASF_Projection", 34737, b"abc|")]

for form in range(11):
    save(f"las/format{form}", las(2 if form < 4 else 3 if form < 6 else 4, form))
save("las/old", las(0, 1, points=1))
save("las/keys", las(2, 0, PROJECTION))
save("las/wkt", las(4, 6, [(b"LASF_Projection", 2112, WKT)], encoding=16))
save("las/extended", las(4, 7, PROJECTION, [(b"LASF_Projection", 2112, WKT)], encoding=16))
fields = extra_bytes((0, 2, b""), (3, 0, b"u16"), (4, 8, b"scaled"), (9, 0, b"float"), (22, 24, b"two"),
                     (3, 0, b"u16"))
save("las/extra", las(2, 0, [(b"LASF_Spec", 4, fields)], extra=24))



def cut_laz(name, points=40, kept=2500):
    """A compressed file with its first points alone. Without a chunk table they are decoded from the front."""
    data = bytearray((CORPUS.parent.parent / "tests/data/laz" / (name + ".laz")).read_bytes())
    start, = struct.unpack_from("<I", data, 96)
    struct.pack_into("<I", data, 107, points)
    if data[25] >= 4:
        struct.pack_into("<Q", data, 247, points)
    if "pointwise" not in name:
        struct.pack_into("<q", data, start, 0)
    return bytes(data[:start + kept])


for name in ("pf0", "pf1", "pf1_extra", "pf2", "pf3", "pf3_v1_pointwise", "pf4", "pf5"):
    save(f"laz/{name}", cut_laz(name))

HEAD = "ply\nformat {}\ncomment seed\nelement camera 1\nproperty list uchar int views\nelement vertex 3\n" \
       "property {}\nproperty double y\nproperty list char short more\nproperty float z\nproperty uchar red\n" \
       "property char signed\nelement face 1\nproperty list uchar int vertex_indices\nend_header\n"
save("ply/ascii", HEAD.format("ascii 1.0", "float x") + "1 5\n" + "1.5 2 1 7 3e2 9 -3\n\n" * 3 + "3 0 1 2\n")
for order, sign in (("little", "<"), ("big", ">")):
    body = struct.pack(sign + "Bi", 1, 5)
    body += b"".join(struct.pack(sign + "fdbhfBb", i, 2, 1, 7, 3, 9, -3) for i in range(3))
    save(f"ply/{order}", HEAD.format(f"binary_{order}_endian 1.0", "float32 x").encode() + body + b"\3" + bytes(12))
plain = "ply\r\nformat binary_little_endian 1.0\r\nelement skipped 2\r\nproperty ushort a\r\nelement vertex 2\r\n" + \
    "".join(f"property {t}\r\n" for t in ("int x", "uint y", "double z", "short i", "ushort intensity", "uint big"))
save("ply/plain", plain.encode() + b"end_header\r\n" + bytes(4) + struct.pack("<iIdhHI", 1, 2, 3, 4, 5, 6) * 2)

save("text/named", 'x,y,"z",Intensity,class,"na me"\n' + '1.5,2,3,4,5,"a,b"\n' * 3)
save("text/counted", "# x y z i\n2\n1 2 3 4\n\n5 6 7 8\n")
save("text/blanks", "// Easting Northing Height\n 1e3\t-2.5 +3\r\n0.1 -0 3\r\n")
save("text/tabs", "x coord\tx\ty\tz\tred\tred\n\t1\t2\t3\t4\t65536\n7\t1\t2\t3\t\t-1\n")
save("text/semicolons", "\ufeff1;2;3;18446744073709551615;1.5e300\n1;2;3;-1;inf\n")

save("words/requests", "Positions:Mean:Zdir\nClassification:MaxOccurrence:All\nReal:Min:Xdir\nReal:Regression:fit")
save("words/skipped", "Positions:Max:All\nReal:Skip:Ydir\n:Median:Zdir\nReal:Mean:Zdir:")
save("words/selection", "0,2:3,5,6,7:12@Classification")
save("words/reals", "-0.5: 1e3; nan,inf:-1@Real")
save("words/ranges", " 300:200;-1,,2.7\t:x, 99999999999999999999,1:2")
save("words/bad", "1-2,--1,1:2:3@@")
