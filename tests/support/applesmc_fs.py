#!/usr/bin/python3
"""A file system that behaves like the folder of the kernel's applesmc driver, with the keys of a
recorded Mac: one index for all programs, which root may write; temperatures and fans in files of
their own, which everybody may read. Root may write a fan's minimum, mode and target; the firmware
lets the speed follow a target within the fan's limits in mode 1, and goes back to its own speed in
mode 0.

usage: applesmc_fs.py MACHINE.json FOLDER     runs until it is unmounted; prints "mounted" first

Two more files are the test's. "events" has one line of JSON for each opening for writing and each
write of a fan's file, with what the kernel knows about the process that does it. Writing
"fan1_output EIO" to "refusals" makes each write of that file fail, "fan1_output" alone ends that;
"key_at_index" likewise.
"""
import errno
import json
import os
import pathlib
import re
import stat
import struct
import sys

import fusepy

FAN_FILES = {"input": "Ac", "min": "Mn", "max": "Mx", "safe": "Sf", "output": "Tg"}
WRITABLE = {"min": "Mn", "output": "Tg", "manual": "Md"}
MOST_SPEED = 0x3fff


def facts(pid):
    """What the kernel says about a process."""
    folder = pathlib.Path(f"/proc/{pid}")
    lines = (folder / "status").read_text().splitlines()
    result = {name: value.split() for name, value in (line.split(":", 1) for line in lines)
              if name in ("Uid", "Gid", "Groups", "Umask", "SigBlk", "SigIgn", "SigCgt", "CapEff", "CapPrm")}
    limits = (re.split(r"\s{2,}", line) for line in (folder / "limits").read_text().splitlines()[1:])
    result["limits"] = {name: [soft, hard] for name, soft, hard, *_ in limits}
    result["folder"] = os.readlink(folder / "cwd")
    result["descriptors"] = {name: os.readlink(folder / "fd" / name) for name in os.listdir(folder / "fd")}
    result["libraries"] = sorted({line.split(None, 5)[5] for line in (folder / "maps").read_text().splitlines()
                                  if ".so" in line})
    return result


def number(text):
    """A decimal number as the kernel takes it: at most a plus before and a line end after it."""
    digits = text.removesuffix(b"\n").removeprefix(b"+")
    if not digits.isdigit():
        raise fusepy.FuseOSError(errno.EINVAL)
    return int(digits)


class AppleSMC(fusepy.Operations):
    def __init__(self, machine):
        self.keys = [key for key in json.load(machine)["smc"]["keys"]]
        self.by_name = {key["key"]: key for key in self.keys}
        self.chosen = 0
        # The driver's own list: temperatures are the keys of this type whose name begins with T.
        self.temperatures = [key for key in self.keys
                             if key["key"].startswith("T") and key["type"] == "sp78" and "result" not in key]
        self.fans = int(self.by_name["FNum"]["bytes"], 16)
        self.manual = [0] * self.fans
        self.own_speed = [self.speed_of(f"F{fan}Ac") for fan in range(self.fans)]
        self.refusals = {}
        self.events = b""
        self.files = {"refusals": lambda: b"", "events": lambda: self.events,
                      "key_count": lambda: f"{len(self.keys)}\n".encode(),
                      "key_at_index": lambda: f"{self.chosen}\n".encode(),
                      "key_at_index_name": lambda: self.text("key"),
                      "key_at_index_type": lambda: self.text("type"),
                      "key_at_index_data_length": lambda: f"{len(self.data(self.now()))}\n".encode(),
                      "key_at_index_data": lambda: self.readable(self.now())}
        for number, key in enumerate(self.temperatures, 1):
            self.files[f"temp{number}_label"] = lambda key=key: (key["key"] + "\n").encode()
            self.files[f"temp{number}_input"] = lambda key=key: self.temperature(key)
        for fan in range(self.fans):
            self.files[f"fan{fan + 1}_label"] = lambda fan=fan: self.fan_name(fan)
            self.files[f"fan{fan + 1}_manual"] = lambda fan=fan: f"{self.manual[fan]}\n".encode()
            for name, suffix in FAN_FILES.items():
                if f"F{fan}{suffix}" in self.by_name:
                    key = self.by_name[f"F{fan}{suffix}"]
                    self.files[f"fan{fan + 1}_{name}"] = lambda key=key: self.speed(key)

    def now(self):
        return self.keys[self.chosen]

    # The driver prints characters up to a NUL.
    def text(self, member):
        return self.now()[member].split("\0")[0].encode("latin-1") + b"\n"

    @staticmethod
    def data(key):
        return bytes.fromhex(key["bytes"])

    def readable(self, key):
        if key.get("result", 0) != 0:
            raise fusepy.FuseOSError(errno.EIO)
        return self.data(key)

    # In quarters of a degree, as the driver rounds.
    def temperature(self, key):
        return f"{250 * (struct.unpack('>h', self.data(key))[0] >> 6)}\n".encode()

    def speed(self, key):
        return f"{self.speed_of(key['key'])}\n".encode()

    def speed_of(self, name):
        key = self.by_name[name]
        if key["type"] == "flt ":
            return int(struct.unpack("<f", self.data(key))[0])
        return struct.unpack(">H", self.data(key))[0] >> 2

    def set_speed(self, name, speed):
        key = self.by_name[name]
        is_float = key["type"] == "flt "
        key["bytes"] = (struct.pack("<f", speed) if is_float else struct.pack(">H", speed << 2)).hex()

    # What the firmware does with what was written.
    def follow(self, fan):
        wanted = self.speed_of(f"F{fan}Tg") if self.manual[fan] else self.own_speed[fan]
        least, most = self.speed_of(f"F{fan}Mn"), self.speed_of(f"F{fan}Mx")
        self.set_speed(f"F{fan}Ac", max(least, min(most, wanted)))

    def fan_name(self, fan):
        return self.data(self.by_name[f"F{fan}ID"])[4:].split(b"\0")[0] + b"\n"

    def name(self, path):
        if path[1:] not in self.files:
            raise fusepy.FuseOSError(errno.ENOENT)
        return path[1:]

    def getattr(self, path, fh=None):
        if path == "/":
            return {"st_mode": stat.S_IFDIR | 0o755, "st_nlink": 2}
        mode = 0o644 if self.name(path) in ("key_at_index", "refusals") or self.fan_key(path) else 0o444
        return {"st_mode": stat.S_IFREG | mode, "st_nlink": 1, "st_size": 4096}

    def readdir(self, path, fh):
        return [".", ".."] + list(self.files)

    def read(self, path, size, offset, fh):
        return self.files[self.name(path)]()[offset:offset + size]

    def truncate(self, path, length, fh=None):
        self.name(path)

    # Fan and last characters of the key in a file that can be written; none for any other file.
    @staticmethod
    def fan_key(path):
        fan, _, kind = path[1:].removeprefix("fan").partition("_")
        return (int(fan) - 1, WRITABLE[kind]) if fan.isdigit() and kind in WRITABLE else None

    def open(self, path, flags):
        self.name(path)
        if flags & os.O_ACCMODE != os.O_RDONLY and self.fan_key(path):
            self.report("open", path, "")
        return 0

    def report(self, event, path, text):
        event = {"event": event, "file": path[1:], "text": text} | facts(fusepy.fuse_get_context()[2])
        self.events += json.dumps(event).encode() + b"\n"

    def write(self, path, data, offset, fh):
        if self.fan_key(path):
            self.write_fan(path, data)
        elif self.name(path) == "refusals":
            name, *error = data.decode().split()
            self.refusals |= {name: getattr(errno, error[0]) if error else 0}
        else:
            self.refuse_if_ordered(path)
            self.chosen = self.index(data)
        return len(data)

    def index(self, data):
        index = number(data)
        if index >= len(self.keys):
            raise fusepy.FuseOSError(errno.EINVAL)
        return index

    def refuse_if_ordered(self, path):
        if self.refusals.get(self.name(path)):
            raise fusepy.FuseOSError(self.refusals[self.name(path)])

    def write_fan(self, path, data):
        fan, suffix = self.fan_key(path)
        self.report("write", path, data.decode())
        self.refuse_if_ordered(path)
        value = number(data)
        if suffix == "Md":
            self.manual[fan] = int(value != 0)
            if f"F{fan}Md" in self.by_name:
                self.by_name[f"F{fan}Md"]["bytes"] = f"{self.manual[fan]:02x}"
        elif value > MOST_SPEED:
            raise fusepy.FuseOSError(errno.EINVAL)
        else:
            self.set_speed(f"F{fan}{suffix}", value)
        self.follow(fan)

    def init(self, path):
        print("mounted", flush=True)


if __name__ == "__main__":
    with open(sys.argv[1], encoding="utf-8") as machine:
        file_system = AppleSMC(machine)
    fusepy.FUSE(file_system, sys.argv[2], foreground=True, direct_io=True, allow_other=True,
                default_permissions=True)
