#!/usr/bin/python3
"""A file system that behaves like the folder of the kernel's applesmc driver, with the keys of a
recorded Mac: one index for all programs, which root may write; temperatures and fans in files of
their own, which everybody may read.

usage: applesmc_fs.py MACHINE.json FOLDER     runs until it is unmounted; prints "mounted" first
"""
import errno
import json
import stat
import struct
import sys

import fusepy

FAN_FILES = {"input": "Ac", "min": "Mn", "max": "Mx", "safe": "Sf", "output": "Tg"}


class AppleSMC(fusepy.Operations):
    def __init__(self, machine):
        self.keys = [key for key in json.load(machine)["smc"]["keys"]]
        self.by_name = {key["key"]: key for key in self.keys}
        self.chosen = 0
        # The driver's own list: temperatures are the keys of this type whose name begins with T.
        self.temperatures = [key for key in self.keys
                             if key["key"].startswith("T") and key["type"] == "sp78" and "result" not in key]
        self.fans = int(self.by_name["FNum"]["bytes"], 16)
        self.files = {"key_count": lambda: f"{len(self.keys)}\n".encode(),
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
            self.files[f"fan{fan + 1}_manual"] = lambda: b"0\n"
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
        if key["type"] == "flt ":
            return f"{int(struct.unpack('<f', self.data(key))[0])}\n".encode()
        return f"{struct.unpack('>H', self.data(key))[0] >> 2}\n".encode()

    def fan_name(self, fan):
        return self.data(self.by_name[f"F{fan}ID"])[4:].split(b"\0")[0] + b"\n"

    def name(self, path):
        if path[1:] not in self.files:
            raise fusepy.FuseOSError(errno.ENOENT)
        return path[1:]

    def getattr(self, path, fh=None):
        if path == "/":
            return {"st_mode": stat.S_IFDIR | 0o755, "st_nlink": 2}
        mode = 0o644 if self.name(path) == "key_at_index" else 0o444
        return {"st_mode": stat.S_IFREG | mode, "st_nlink": 1, "st_size": 4096}

    def readdir(self, path, fh):
        return [".", ".."] + list(self.files)

    def read(self, path, size, offset, fh):
        return self.files[self.name(path)]()[offset:offset + size]

    def truncate(self, path, length, fh=None):
        self.name(path)

    def write(self, path, data, offset, fh):
        index = int(data)
        if index >= len(self.keys):
            raise fusepy.FuseOSError(errno.EINVAL)
        self.chosen = index
        return len(data)

    def init(self, path):
        print("mounted", flush=True)


if __name__ == "__main__":
    with open(sys.argv[1], encoding="utf-8") as machine:
        file_system = AppleSMC(machine)
    fusepy.FUSE(file_system, sys.argv[2], foreground=True, direct_io=True, allow_other=True,
                default_permissions=True)
