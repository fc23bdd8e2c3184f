#!/usr/bin/env python3
"""Makes the resource files that the tests compare with, and the seeds of the fuzz target.

Knows the format from its description only and shares no code with the program. Run it in its own
folder after a change; the results are checked in.
"""

import os
import struct

HERE = os.path.dirname(os.path.abspath(__file__))
SEEDS = os.path.join(HERE, "../../../fuzz/corpus/resources_fuzz")

SYSTEM = bytes((3 * i) & 0xFF for i in range(112))
APPLICATION = bytes((255 - i) & 0xFF for i in range(128))


class Resource:
    def __init__(self, id, name, attributes, data):
        self.id, self.name, self.attributes, self.data = id, name, attributes, data


def build(types, order, attributes=0, reserved=SYSTEM + APPLICATION, in_memory=0, gap=b""):
    """types: list of (code, [Resource]); order: the resources in the order of their data."""
    data, places = b"", {}
    for resource in order:
        data += gap
        places[resource] = len(data)
        data += struct.pack(">I", len(resource.data)) + resource.data
    count = sum(len(resources) for _, resources in types)
    type_list = struct.pack(">H", (len(types) - 1) & 0xFFFF)
    references, names = b"", b""
    references_at = 2 + 8 * len(types)
    for code, resources in types:
        type_list += code + struct.pack(">HH", (len(resources) - 1) & 0xFFFF,
                                        references_at + len(references))
        for resource in resources:
            name_at = 0xFFFF
            if resource.name is not None:
                name_at = len(names)
                names += bytes([len(resource.name)]) + resource.name
            references += struct.pack(">hHII", resource.id, name_at,
                                      resource.attributes << 24 | places[resource], in_memory)
    assert len(references) == 12 * count
    body = type_list + references + names
    header = struct.pack(">IIII", 256, 256 + len(data), len(data), 28 + len(body))
    map_header = header + struct.pack(">IHHHH", in_memory, in_memory & 0xFFFF, attributes, 28,
                                      28 + len(type_list) + len(references))
    return header + reserved + data + map_header + body


def apple_double(entries, filler=b"Mac OS X        ", table_gap=0):
    """entries: list of (id, data), their data in this order."""
    at = 26 + 12 * len(entries) + table_gap
    table, data = b"", b""
    for id, content in entries:
        table += struct.pack(">III", id, at + len(data), len(content))
        data += content
    head = struct.pack(">II", 0x00051607, 0x00020000) + filler + struct.pack(">H", len(entries))
    return (head + table).ljust(at, b"\0") + data


def write(folder, name, content):
    with open(os.path.join(folder, name), "wb") as file:
        file.write(content)


empty = build([], [], reserved=bytes(240))

resolution = Resource(128, b"PICT_RES", 0x00, b"144\0")
unnamed = Resource(-5, None, 0x24, b"")
packed = Resource(200, b"", 0x81, bytes([0xA8, 0x9F, 0x65, 0x72, 0, 1, 2, 3]))
title = Resource(0, "Ünïcödé".encode(), 0x20, b"\x05Hello")
latin = Resource(1, b"caf\xe9", 0x50, b"\0\xff" * 700)
picture = Resource(256, None, 0x08, bytes(range(256)))
types = [(b"Cstr", [resolution, unnamed, packed]), (b"none", []), (b"STR ", [title, latin]),
         (b"PICT", [picture])]
order = [picture, packed, resolution, latin, unnamed, title]

several = build(types, order, attributes=0x0140, in_memory=0xDEADBEEF, gap=b"stale")
write(HERE, "several_types.rsrc", several)

# The same after one value was made longer, one setting added, one text of a new type added.
resolution_after = Resource(128, b"PICT_RES", 0x00, b"300 dots per inch\0")
added = Resource(129, b"NEW_KEY", 0x00, b"x\0")
text = Resource(128, b"Info", 0x00, b"About")
write(HERE, "several_types_updated.rsrc", build(
    [(b"Cstr", [resolution_after, unnamed, packed, added]), (b"none", []),
     (b"STR ", [title, latin]), (b"PICT", [picture]), (b"TEXT", [text])],
    [picture, packed, resolution_after, latin, unnamed, title, added, text], attributes=0x0140))

# An AppleDouble file with entries that are not known here, around the fork.
finder = b"TEXTttxt\x01\x00\x00\x10\x00\x20\xff\xfe" + bytes(range(16))
comment = b"A comment of the Finder's, kept whole"
write(HERE, "apple_double.bin",
      apple_double([(9, finder), (4, comment), (2, several), (8, bytes(16))]))

seeds = {
    "empty_map": empty,
    "several_types": several,
    "blank_fork": empty[:16] + b"This resource fork intentionally left blank   ".ljust(240, b"\0")
                  + empty[256:],
    "one_setting": build([(b"Cstr", [resolution])], [resolution]),
    "truncated": several[:-20],
    "header_only": several[:16],
    "many_types_claimed": empty[:-2] + b"\x40\x00",
    "many_references_claimed": several.replace(b"Cstr\x00\x02", b"Cstr\xff\xfe", 1),
    "apple_double": apple_double([(9, finder), (2, several)]),
    "apple_double_short_finder_info": apple_double([(9, b"TEXT"), (2, several)]),
    "apple_double_fork_only": apple_double([(2, several)], table_gap=12),
    "apple_double_truncated": apple_double([(9, finder), (2, several)])[:60],
}
twin = Resource(129, b"B", 0, b"1\0")
pair = build([(b"Cstr", [resolution, twin])], [resolution, twin])
# Both references lead to the first one's data; then a length that claims more than there is.
seeds["same_data_twice"] = pair.replace(struct.pack(">I", 8), bytes(4), 1)
seeds["data_too_long"] = pair.replace(struct.pack(">I", 4) + b"144", b"\x7f\xff\xff\xff144", 1)
for name, content in seeds.items():
    write(SEEDS, name, content)
