"""Prints what a keyed archive holds, by the property-list module alone, and writes it again.

usage: keyed_archive_test.py ARCHIVE COPY
"""
import datetime
import plistlib
import sys

with open(sys.argv[1], "rb") as file:
    content = file.read()
assert content.startswith(b"bplist00")
archive = plistlib.loads(content)
assert sorted(archive) == ["$archiver", "$objects", "$top", "$version"], sorted(archive)
assert archive["$version"] == 100000 and archive["$archiver"] == "NSKeyedArchiver"
objects = archive["$objects"]
assert objects[0] == "$null"


def value(reference):
    assert isinstance(reference, plistlib.UID), reference
    if reference.data == 0:
        return None
    item = objects[reference.data]
    if not isinstance(item, dict):
        return item
    described = objects[item["$class"].data]
    name = described["$classname"]
    assert described["$classes"] == [name, "NSObject"]
    if name == "NSArray":
        return [value(part) for part in item["NS.objects"]]
    if name == "NSDictionary":
        return {value(key): value(part) for key, part in zip(item["NS.keys"], item["NS.objects"], strict=True)}
    if name == "NSDate":
        assert isinstance(item["NS.time"], float)
        return datetime.datetime(2001, 1, 1) + datetime.timedelta(seconds=item["NS.time"])
    fields = ", ".join(f"{key}={value(part)!r}" for key, part in item.items() if key != "$class")
    return f"{name}({fields})"


for key, part in value(archive["$top"]["root"]).items():
    is_plain = isinstance(part, datetime.datetime) or str(part).startswith("KVNotification")
    print(f"{key}={part if is_plain else repr(part)}")

with open(sys.argv[2], "wb") as file:
    plistlib.dump(archive, file, fmt=plistlib.FMT_BINARY, sort_keys=False)
