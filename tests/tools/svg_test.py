"""The picture that kelvora draws of a history, in a browser.

Run as: svg_test.py PROGRAM WRITER
"""
import os
import pathlib
import shutil
import struct
import subprocess
import sys
import tempfile
import time
import unittest
import xml.etree.ElementTree as ElementTree
import zlib

PROGRAM, WRITER = sys.argv[1:3]
SVG = "{http://www.w3.org/2000/svg}"
LIGHT, DARK = (0xff, 0xff, 0xff), (0x1e, 0x1e, 0x1e)
CURVE = {LIGHT: (0x0b, 0x82, 0xfa), DARK: (0x3b, 0x9b, 0xff)}


def rows_of_png(data):
    """The rows of pixels of a picture with 8 bits for each colour."""
    chunks, place = {}, 8
    while place < len(data):
        size, kind = struct.unpack(">I4s", data[place:place + 8])
        chunks[kind] = chunks.get(kind, b"") + data[place + 8:place + 8 + size]
        place += size + 12
    width, height, depth, colours, _, _, interlaced = struct.unpack(">IIBBBBB", chunks[b"IHDR"])
    assert (depth, interlaced) == (8, 0) and colours in (2, 6)
    step = 3 if colours == 2 else 4
    raw, before, rows = zlib.decompress(chunks[b"IDAT"]), bytes(width * step), []
    for row in range(height):
        start = row * (width * step + 1)
        line = bytearray(raw[start + 1:start + 1 + width * step])
        unfilter(raw[start], line, before, step)
        rows.append([tuple(line[i:i + 3]) for i in range(0, len(line), step)])
        before = line
    return rows


def unfilter(kind, line, before, step):
    def predicted(left, above, corner):
        if kind == 4:
            estimate = left + above - corner
            return min((abs(estimate - left), 0, left), (abs(estimate - above), 1, above),
                       (abs(estimate - corner), 2, corner))[2]
        return (0, left, above, (left + above) // 2)[kind]

    for i in range(len(line) if kind else 0):
        left, corner = (line[i - step], before[i - step]) if i >= step else (0, 0)
        line[i] = (line[i] + predicted(left, before[i], corner)) & 0xff


def is_near(one, other):
    return all(abs(a - b) <= 40 for a, b in zip(one, other))


class Picture(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.environment = {name: value for name, value in os.environ.items()
                            if not name.startswith(("KELVORA_", "DBUS_"))}
        self.environment |= {"HOME": str(self.folder), "LC_ALL": "C.UTF-8", "TZ": "UTC",
                             "XDG_CONFIG_HOME": str(self.folder / "config"),
                             "XDG_CACHE_HOME": str(self.folder / "cache"),
                             "XDG_DATA_HOME": str(self.folder / "data")}
        self.now = time.time()

    def write(self, points, name="CPU Proximity", key="TC0P"):
        lines = "".join(f"1 {seconds:.3f} {value}\n" for seconds, value in points)
        subprocess.run([WRITER, key, name, "0", "0", "100"], input=lines, text=True, check=True,
                       env=self.environment)

    def svg(self, key="TC0P"):
        subprocess.run([PROGRAM, "history", key, "--range", "day", "--svg", self.folder / "a.svg"],
                       check=True, env=self.environment)
        return (self.folder / "a.svg").read_bytes()

    # 40 degrees for the first quarter of the day, a gap of a quarter, then 80 degrees.
    def write_two_levels(self):
        start = self.now - 86400
        self.write([(start + 60 * i, 40 if i < 360 else 80) for i in range(1440)
                    if not 360 <= i < 720])

    def screenshot(self, *flags):
        browser = shutil.which("chromium")
        if browser is None:
            self.skipTest("chromium is not installed (scripts/bootstrap test)")
        picture = self.folder / "a.png"
        subprocess.run([browser, "--headless", "--no-sandbox", "--disable-gpu", "--hide-scrollbars",
                        "--window-size=860,420", "--force-device-scale-factor=1",
                        f"--user-data-dir={self.folder / 'browser'}", *flags,
                        f"--screenshot={picture}", (self.folder / "a.svg").as_uri()],
                       check=True, timeout=120, env=self.environment, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL)
        return rows_of_png(picture.read_bytes())

    def check_two_levels(self, rows, back):
        self.assertEqual((len(rows), len(rows[0])), (420, 860))
        for x, y in ((2, 2), (857, 2), (2, 417), (857, 417)):
            self.assertEqual(rows[y][x], back)

        def heights(x):
            return [y for y in range(90, 362) if is_near(rows[y][x], CURVE[back])]

        # The field of the curve reaches from 84 to 824, from 0 degrees at 360 to 100 at 96.
        for day, degrees in ((0.05, 40), (0.2, 40), (0.55, 80), (0.9, 80)):
            found = heights(round(84 + day * 740))
            expected = 360 - degrees / 100 * 264
            self.assertTrue(found, day)
            self.assertLess(abs(min(found) - expected), 3, day)
            self.assertLess(abs(max(found) - expected), 3, day)
        for day in (0.27, 0.4, 0.49):
            self.assertEqual(heights(round(84 + day * 740)), [], day)

    def test_a_browser_shows_the_curve_in_light_and_dark(self):
        self.write_two_levels()
        self.svg()
        self.check_two_levels(self.screenshot(), LIGHT)
        self.check_two_levels(self.screenshot("--force-dark-mode"), DARK)

    def test_a_browser_shows_a_single_reading(self):
        self.write([(self.now - 64800, 60), (self.now - 60, 40)])
        self.svg()
        row = self.screenshot()[round(360 - 0.6 * 264)]
        found = [x for x in range(90, 820) if is_near(row[x], CURVE[LIGHT])]
        self.assertTrue(found)
        self.assertLess(max(abs(x - (84 + 0.25 * 740)) for x in found), 4)

    def test_it_is_xml_with_title_summary_and_labels(self):
        self.write_two_levels()
        root = ElementTree.fromstring(self.svg())
        self.assertEqual(root.tag, SVG + "svg")
        self.assertEqual(root.find(SVG + "title").text,
                         "CPU Proximity Temperature (TC0P), Last 24 hours")
        self.assertEqual(root.find(SVG + "desc").text,
                         "Minimum 40°C · Maximum 80°C · Last 80°C")
        self.assertEqual(root.get("role"), "img")
        named = root.get("aria-labelledby").split()
        self.assertEqual(named, [root.find(SVG + "title").get("id"),
                                 root.find(SVG + "desc").get("id")])
        texts = [text.text for text in root.iter(SVG + "text")]
        for label in ("0°C", "20°C", "100°C",
                      time.strftime("%H:%M", time.gmtime(self.now - 8 * 3600))):
            self.assertIn(label, texts)
        curves = [path for path in root.iter(SVG + "path") if path.get("class") == "curve"]
        self.assertEqual(len(curves), 2)

    def test_it_refers_to_nothing_outside(self):
        self.write_two_levels()
        text = self.svg().decode()
        for outside in ("href", "@import", "<script", "<image", "<!ENTITY", "<!DOCTYPE"):
            self.assertNotIn(outside, text)
        self.assertEqual(text.count("http"), 1)
        self.assertEqual(text.count("url("), 1)
        self.assertIn("url(#shade)", text)

    def test_names_of_any_characters_stay_xml(self):
        for number, name in enumerate(("<b>&amp;\"'</b>", "]]>", "a\u0001\u001b[31m\u007f\u0085",
                                       "\ufffe\uffff\ufdd0", "\u202e\u2028", "\U0001f321 \U0010ffff",
                                       "x" * 500)):
            key = f"K{number}"
            self.write([(self.now - 60, 45)], name, key)
            root = ElementTree.fromstring(self.svg(key))
            self.assertIn(key, root.find(SVG + "title").text)
        self.assertEqual(ElementTree.fromstring(self.svg("K0")).find(SVG + "title").text,
                         "<b>&amp;\"'</b> Temperature (K0), Last 24 hours")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
