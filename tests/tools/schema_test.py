"""The JSON answers of kelvora against their schemas in docs/schema.

Run as: schema_test.py PROGRAM MACHINES SCHEMAS WRITER
"""
import copy
import http.server
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import threading
import time
import unittest

import jsonschema

PROGRAM, MACHINES, SCHEMAS = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])
WRITER = sys.argv[4]
STORE = {file.name: json.loads(file.read_text()) for file in SCHEMAS.glob("*.json")}
OF_A_MACHINE = ("sensors", "keys", "inventory", "overview", "usage", "top", "network", "doctor", "fans")


def smc(*keys):
    return {"keys": [dict(zip(("key", "type", "bytes"), key)) for key in keys]}


def brand(text):
    return {"machdep.cpu.brand_string": text}


# What no Mac answers.
HOSTILE = {
    "nothing": {},
    "only an architecture of Apple silicon": {"architecture": "arm64"},
    "values that are no numbers": {
        "smc": smc(("#KEY", "ui32", "00000003"), ("TCnn", "flt ", "0000c07f"),
                   ("PCin", "flt ", "0000807f"))},
    "more fans than there are names": {"smc": smc(("FNum", "ui8 ", "ff"))},
    "a claim of four billion keys": {
        "smc": smc(("#KEY", "ui32", "ffffffff"), ("TC0P", "sp78", "2520"))},
    "keys of other types, sizes and bytes": {
        "smc": smc(("#KEY", "ui32", "00000005"), ("T\u001b[2", "sp78", "2520"),
                   ("T\u00ff\u00e9x", "sp78", ""), ("TC0P", "hex_", "ff" * 32),
                   ("VC0C", "ui8\u0000", "80"))},
    "reads that fail": {"smc": {"keys": [
        {"key": "#KEY", "type": "ui32", "bytes": "00000002", "status": 5},
        {"key": "TC0P", "type": "sp78", "bytes": "2520", "result": 133}]}},
    "texts that control a terminal": {
        "title": "a\n\u001b[31m\u0085", "host": {"localizedName": "\u001b[2J\u202e"},
        "sysctl": brand("Intel\u0007") | {"hw.model": "Mac\u001bBook"}},
    "negative and huge numbers": {
        "sysctl": brand("Apple M9") | {
            "machdep.cpu.core_count": {"int32": -7}, "hw.packages": {"int64": -1},
            "hw.cpufrequency": {"int64": 9223372036854775807},
            "hw.l2cachesize": {"int64": -9223372036854775808}},
        "volumes": [{"path": "/", "mediaSize": 9223372036854775807, "removable": False}],
        "os": {"version": [-1, 9223372036854775807, 0], "text": "Version ("}},
    "batteries and graphics of other kinds": {
        "architecture": "x86_64",
        "registry": [
            {"class": "AppleSmartBattery", "name": "b", "properties": {
                "CycleCount": -1, "MaxCapacity": "many", "DesignCapacity": -5}},
            {"class": "IOPCIDevice", "name": "g", "properties": {"model": {"data": "ff00"}}}]},
    "HID services without names and values": {
        "architecture": "arm64",
        "hid": [{"usagePage": 65280, "usage": 5}, {"usagePage": 65280, "usage": 5, "product": "",
                                                   "events": {"15": -1e308}}]},
    "statistics of other kinds": {
        "sysctl": {"hw.memsize": {"int64": -1}},
        "statistics": {"uptime": 1e300, "processorTicks": [[0, 0, 0, 0]], "pageSize": 4294967295,
                       "memory": {"free": 4294967295, "active": 1, "inactive": 1, "wired": 1},
                       "fileSystem": {"total": 0, "free": 9223372036854775807}},
        "registry": [{"class": "IOPMPowerSource", "name": "b", "properties": {
            "BatteryInstalled": "yes", "Voltage": -1e308, "CycleCount": -1}}]},
    "processes of other kinds": {"commands": [
        {"path": "/bin/ps", "arguments": ["-Aceo pid,pcpu,comm", "-r"],
         "stdout": "PID\n 99999999999999999999 1e9 \u001b[31m\nx\n\n1 ,,, y\n"}]},
    "a key that two families have": {
        "architecture": "arm64", "sysctl": brand("Apple M9"),
        "smc": smc(("#KEY", "ui32", "00000002"), ("Tp01", "sp78", "2520"))},
}


def validate(answer, schema):
    document = STORE[schema]
    resolver = jsonschema.RefResolver(schema, document, store=STORE)
    jsonschema.Draft202012Validator(document, resolver=resolver).validate(answer)


def changed(answer):
    """Answers that are wrong in one place: a member too few, too many, or of another type."""
    def places(value, path=()):
        yield path, value
        members = value.items() if isinstance(value, dict) else \
            enumerate(value[:1]) if isinstance(value, list) else ()
        for name, member in members:
            yield from places(member, path + (name,))

    def at(copied, path):
        for name in path:
            copied = copied[name]
        return copied

    for path, value in places(answer):
        if path:
            other = copy.deepcopy(answer)
            at(other, path[:-1])[path[-1]] = {"neither": "this"} if value != {} else 7
            yield path, other
        if isinstance(value, dict):
            other = copy.deepcopy(answer)
            at(other, path)["unforeseen"] = 1
            yield path + ("unforeseen",), other
            for name in value:
                other = copy.deepcopy(answer)
                del at(other, path)[name]
                yield path + (name, "missing"), other


class Answers(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.environment = {name: value for name, value in os.environ.items()
                            if not name.startswith(("KELVORA_", "DBUS_"))}
        self.environment |= {"HOME": str(self.folder), "LANG": "C",
                             "XDG_CONFIG_HOME": str(self.folder / "config"),
                             "XDG_DATA_HOME": str(self.folder / "data")}

    def answer(self, *arguments):
        ended = subprocess.run([PROGRAM, *arguments, "--json"], env=self.environment,
                               capture_output=True, check=False)
        self.assertIn(ended.returncode, (0, 1), ended.stderr)
        return json.loads(ended.stdout)

    def test_schemas_are_valid(self):
        for schema in STORE.values():
            jsonschema.Draft202012Validator.check_schema(schema)

    def test_every_recorded_machine(self):
        files = sorted(MACHINES.glob("*.json"))
        self.assertGreater(len(files), 0)
        for file in files:
            for command in OF_A_MACHINE:
                with self.subTest(machine=file.name, command=command):
                    answer = self.answer(command, "--machine", str(file))
                    validate(answer, command + ".json")
                    self.assertEqual(answer["machine"]["model"], file.stem)

    def test_every_hostile_machine(self):
        for name, members in HOSTILE.items():
            file = self.folder / "machine.json"
            file.write_text(json.dumps({"format": "kelvora-machine", "version": 1,
                                        "architecture": "x86_64"} | members))
            for command in OF_A_MACHINE:
                with self.subTest(machine=name, command=command):
                    validate(self.answer(command, "--machine", str(file)), command + ".json")

    def test_the_list_of_machines(self):
        validate(self.answer("machines"), "machines.json")

    def test_the_permission_of_the_privileged_tool(self):
        answer = self.answer("fans", "permit", "--machine", str(MACHINES / "Macmini8,1.json"))
        validate(answer, "permit.json")
        for place, other in changed(answer):
            with self.subTest(place=place), self.assertRaises(jsonschema.ValidationError):
                validate(other, "permit.json")

    def test_the_chosen_machine(self):
        answers = [self.answer("machine"), self.answer("machine", "use", str(MACHINES / "Macmini8,1.json")),
                   self.answer("machine", "none")]
        self.assertEqual([answer["choice"] is None for answer in answers], [True, False, True])
        self.answer("machine", "use", str(MACHINES / "Macmini8,1.json"))
        file = self.folder / "data" / "Kelvora" / "Machine.json"
        choice = json.loads(file.read_text())
        file.write_text(json.dumps(choice | {"writes": [{"key": "F0Md", "bytes": "01"}]}))
        answers.append(self.answer("machine"))
        self.assertEqual(answers[-1]["choice"]["writes"], [{"key": "F0Md", "bytes": "01"}])
        for answer in answers:
            validate(answer, "choice.json")
            for place, other in changed(answer):
                with self.subTest(place=place), self.assertRaises(jsonschema.ValidationError):
                    validate(other, "choice.json")

    def test_fans_that_are_set_and_handed_back(self):
        tool = self.folder / "data" / "Kelvora" / "Kelvora SMC"
        tool.parent.mkdir(parents=True)
        shutil.copy(pathlib.Path(PROGRAM).parent / "Kelvora SMC", tool)
        for machine in ("MacBookPro15,1", "MacBookPro10,1"):
            self.answer("machine", "use", str(MACHINES / (machine + ".json")))
            held = self.answer("fans", "set", "0", "3000")
            self.addCleanup(self.answer, "fans", "auto", "all")
            listed = self.answer("fans")
            self.assertEqual(listed["fans"][0]["lease"]["program"], "kelvora")
            for answer, schema in ((held, "fan-change.json"), (listed, "fans.json"),
                                   (self.answer("fans", "auto", "all"), "fan-change.json")):
                validate(answer, schema)
                for place, other in changed(answer):
                    with self.subTest(schema=schema, place=place):
                        with self.assertRaises(jsonschema.ValidationError):
                            validate(other, schema)

    def settings_are_valid(self):
        settings = self.answer("settings")
        validate(settings, "settings.json")
        for setting in settings["settings"]:
            validate(self.answer("settings", "get", setting["property"]), "setting.json")

    def test_settings_of_a_new_user_and_after_changes(self):
        self.settings_are_valid()
        for name, value in (("tempUnitCelsius", "false"), ("updateFrequency", "2"),
                            ("menuSensors", '["TC0P"]'), ("fileLoggingPath", "\u001b[31m"),
                            ("dropdownItems", '[{"main_sensor": true}]')):
            validate(self.answer("settings", "set", name, value), "setting.json")
        self.settings_are_valid()
        validate(self.answer("settings", "unset", "menuSensors"), "setting.json")

    def test_settings_of_other_types(self):
        suite = self.folder / "config/group.com.kelvora/Settings.plist"
        suite.parent.mkdir(parents=True)
        keys = [setting["key"] for setting in self.answer("settings")["settings"]]
        for value in ("<real>nan</real>", "<string>\u007f</string>", "<data>AAEC</data>",
                      "<array><integer>1</integer></array>", "<integer>-9</integer>",
                      "<date>1970-01-01T00:00:00Z</date>", "<dict/>"):
            suite.write_text('<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict>' +
                             "".join(f"<key>{key}</key>{value}" for key in keys) +
                             "</dict></plist>")
            with self.subTest(value=value):
                self.settings_are_valid()

    def test_sensors_of_the_users_own_and_a_reset(self):
        validate(self.answer("custom"), "custom.json")
        for key, kind in (("TCXX", "temperature"), ("VCXX", "voltage"), ("ICXX", "current"),
                          ("PCXX", "power")):
            validate(self.answer("custom", "add", key, "Desk", "--type", kind),
                     "custom-sensor.json")
        listed = self.answer("custom")
        validate(listed, "custom.json")
        self.assertEqual(len(listed["sensors"]), 4)
        for place, other in changed(listed):
            with self.subTest(place=place), self.assertRaises(jsonschema.ValidationError):
                validate(other, "custom.json")
        validate(self.answer("custom", "remove", "TCXX"), "custom-sensor.json")
        self.answer("settings", "set", "menuSensors", '["TCXX"]')
        self.answer("settings", "set", "updateFrequency", "1")
        reset = self.answer("reset", "--yes")
        validate(reset, "reset.json")
        for place, other in changed(reset):
            with self.subTest(place=place), self.assertRaises(jsonschema.ValidationError):
                validate(other, "reset.json")
        validate(self.answer("reset", "--yes"), "reset.json")

    def test_notices(self):
        bus = subprocess.Popen(["dbus-daemon", "--session", "--nofork", "--print-address"],
                               stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.addCleanup(bus.communicate)
        self.addCleanup(bus.terminate)
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = bus.stdout.readline().strip()
        watch = subprocess.Popen([PROGRAM, "settings", "watch", "--json"], env=self.environment,
                                 stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.addCleanup(watch.communicate)
        self.addCleanup(watch.terminate)
        self.assertIn("watching", watch.stderr.readline())
        self.answer("settings", "set", "tempUnitCelsius", "false")
        self.answer("settings", "set", "showHIDSensors", "true")
        notices = [json.loads(watch.stdout.readline()) for _ in range(2)]
        for notice in notices:
            validate(notice, "notice.json")
        self.assertEqual(notices[1]["userInfo"], {"KVShowHIDSensorsKey": True})

    def record(self, key, kind, *values):
        """A point of each series for each value, one a minute up to now."""
        points = "".join(f"{series} {time.time() - 60 * (len(values) - i)} {value}\n"
                         for series in range(3) for i, value in enumerate(values))
        subprocess.run([WRITER, key, f"Name of {key}", str(kind), "0", "100"], input=points,
                       text=True, check=True, env=self.environment)

    def test_histories(self):
        validate(self.answer("history"), "histories.json")
        self.record("TC0P", 0, 45, 46.5, -128, "inf", 1e300)
        self.record("F0Ac", 1, 1200)
        self.record("VC0C", 2)
        self.record("Other", 9, 3)
        listed = self.answer("history")
        validate(listed, "histories.json")
        self.assertEqual([(sensor["key"], sensor["unit"]) for sensor in listed["sensors"]],
                         [("TC0P", "°C"), ("F0Ac", "rpm"), ("Other", None)])
        for key in ("TC0P", "F0Ac", "VC0C", "Other"):
            for series in ("hour", "day", "week"):
                with self.subTest(key=key, series=series):
                    validate(self.answer("history", key, "--range", series), "history.json")
        for answer, schema in ((listed, "histories.json"),
                               (self.answer("history", "TC0P"), "history.json")):
            for place, other in changed(answer):
                with self.subTest(schema=schema, place=place):
                    with self.assertRaises(jsonschema.ValidationError):
                        validate(other, schema)

    def test_rules_fan_sets_and_conditions(self):
        for command in ("rules", "fansets", "conditions"):
            validate(self.answer(command), command + ".json")
        self.answer("settings", "set", "appLaunchCount", "5")  # no default rule
        self.record("TC0P", 0, 90)
        answers = [(self.answer("rules", "add", "TC0P", "--threshold", "85"), "rule.json"),
                   (self.answer("rules", "change", "TC0P", "--repeat", "3"), "rule.json"),
                   (self.answer("rules"), "rules.json"),
                   (self.answer("fansets", "add", "Fast", "F0=5000"), "fanset.json"),
                   (self.answer("fansets", "use", "Fast"), "fanset.json"),
                   (self.answer("fansets"), "fansets.json"),
                   (self.answer("conditions", "add", "Fast", "TC0P", "--threshold", "80"),
                    "condition.json"),
                   (self.answer("conditions"), "conditions.json")]
        identifier = str(answers[-1][0]["conditions"][0]["id"])
        for command in ("disable", "enable", "remove"):
            answers.append((self.answer("conditions", command, identifier), "condition.json"))
        answers += [(self.answer("fansets", "remove", "Fast"), "fanset.json"),
                    (self.answer("rules", "remove", "TC0P"), "rule.json")]
        for answer, schema in answers:
            with self.subTest(schema=schema):
                validate(answer, schema)
            for place, other in changed(answer):
                if "speeds" in place and place[-2:] != ("speeds", "missing"):
                    continue  # any dictionary
                with self.subTest(schema=schema, place=place):
                    with self.assertRaises(jsonschema.ValidationError):
                        validate(other, schema)

    def test_samples_of_a_live_computer(self):
        for command in ("usage", "top"):
            watch = subprocess.Popen([PROGRAM, command, "--watch", "--every", "0.2", "--json"],
                                     env=self.environment, stdout=subprocess.PIPE, text=True)
            self.addCleanup(watch.communicate)
            self.addCleanup(watch.terminate)
            lines = [json.loads(watch.stdout.readline()) for _ in range(3)]
            for line in lines:
                validate(line, command + ".json")
                self.assertTrue(line["machine"]["live"])
            if command == "usage":
                self.assertEqual([line["usage"]["processor"]["sinceStartUp"] for line in lines],
                                 [True, False, False])
                self.assertIsNone(lines[0]["usage"]["network"]["receivedPerSecond"])
                self.assertIsNotNone(lines[1]["usage"]["network"]["receivedPerSecond"])

    # The computer's own curl asks for the public address: here by way of a proxy on the loopback.
    def test_the_network_of_a_live_computer(self):
        class Service(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                self.send_response(200)
                self.end_headers()
                self.wfile.write(b"<html>Current IP Address: 203.0.113.7</html>")

            def log_message(self, *_):
                pass

        with http.server.HTTPServer(("127.0.0.1", 0), Service) as server:
            threading.Thread(target=server.serve_forever, daemon=True).start()
            self.environment |= {"no_proxy": "", "NO_PROXY": ""}
            self.environment["http_proxy"] = f"http://127.0.0.1:{server.server_address[1]}"
            answer = self.answer("network")
            server.shutdown()
        validate(answer, "network.json")
        self.assertTrue(answer["machine"]["live"])
        self.assertEqual(answer["network"]["publicIpAddress"], "203.0.113.7")
        self.assertTrue(answer["network"]["hostName"])
        unreachable = self.answer("network")
        validate(unreachable, "network.json")
        self.assertIsNone(unreachable["network"]["publicIpAddress"])

    # A schema that takes anything describes nothing.
    def test_recordings(self):
        command = [PROGRAM, "record-history", "--machine", str(MACHINES / "Macmini8,1.json"), "--for", "2", "--every", "1",
                   "--json"]
        recorded = subprocess.run(command, env=self.environment, capture_output=True, text=True, check=True)
        lines = [json.loads(line) for line in recorded.stdout.splitlines()]
        (self.folder / "data" / "group.com.kelvora" / "Database.sqlite").write_text("no store, whatever it was before")
        refused = subprocess.run(command, env=self.environment, capture_output=True, text=True)
        lines += [json.loads(line) for line in refused.stdout.splitlines()]
        for line in lines:
            validate(line, "recording.json")
        self.assertEqual({line["event"] for line in lines}, {"sample", "notSaved", "end"})

    def test_an_answer_that_is_wrong_in_one_place_is_refused(self):
        machine = str(MACHINES / "Macmini9,1.json")
        for command in OF_A_MACHINE:
            for place, other in changed(self.answer(command, "--machine", machine)):
                with self.subTest(command=command, place=place):
                    with self.assertRaises(jsonschema.ValidationError):
                        validate(other, command + ".json")

    def test_a_sensor_with_the_unit_of_another_type_is_refused(self):
        answer = self.answer("sensors", "--machine", str(MACHINES / "iMac19,1.json"))
        for sensor in answer["sensors"][:1] + answer["sensors"][-1:]:
            sensor["unit"] = "A" if sensor["unit"] != "A" else "W"
            with self.assertRaises(jsonschema.ValidationError):
                validate(answer, "sensors.json")

    def test_a_record_that_is_listed_twice_counts_once(self):
        file = self.folder / "machine.json"
        file.write_text(json.dumps({"format": "kelvora-machine", "version": 1} |
                                   HOSTILE["a key that two families have"]))
        sensors = self.answer("sensors", "--machine", str(file))["sensors"]
        marks = [sensor["isRepeated"] for sensor in sensors if sensor["key"] == "Tp01"]
        self.assertEqual(marks, [False, True])
        self.assertFalse(any(sensor["isRepeated"] for sensor in sensors if sensor["key"] != "Tp01"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
