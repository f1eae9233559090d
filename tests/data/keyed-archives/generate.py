#!/usr/bin/env python3
"""Writes the keyed-archive fixtures of this folder.

The archives are built by hand in the binary property-list keyed-archive layout
($archiver, $version, $top, $objects with "$null" first and class records), with
Python's own plistlib, so that the tests read bytes that our archiver did not make.
Run it from anywhere; it rewrites the files beside itself. The output is deterministic.
"""

import hashlib
import os
import plistlib
from plistlib import UID

HERE = os.path.dirname(os.path.abspath(__file__))


class Archive:
    """Collects $objects for one archive; index 0 is "$null"."""

    def __init__(self):
        self.objects = ["$null"]
        self.classes = {}

    def add(self, obj):
        self.objects.append(obj)
        return UID(len(self.objects) - 1)

    def class_record(self, name, chain=None):
        if name not in self.classes:
            self.classes[name] = self.add(
                {"$classname": name, "$classes": chain or [name, "NSObject"]})
        return self.classes[name]

    def obj(self, class_name, fields, chain=None):
        """Adds an object dictionary; its class record is added after it, as the phone does."""
        uid = self.add(None)
        record = self.class_record(class_name, chain)
        self.objects[uid.data] = dict(fields, **{"$class": record})
        return uid

    def date(self, seconds_since_2001):
        return self.obj("NSDate", {"NS.time": float(seconds_since_2001)})

    def data(self, root, archiver="NSKeyedArchiver", version=100000):
        top = {"$archiver": archiver, "$version": version,
               "$top": {"root": root}, "$objects": self.objects}
        return plistlib.dumps(top, fmt=plistlib.FMT_BINARY, sort_keys=True)


def write(name, data):
    with open(os.path.join(HERE, name), "wb") as out:
        out.write(data)


def repeat_interval(fields):
    archive = Archive()
    return archive.data(archive.obj("RepeatInterval", fields))


def last_five(count, dates, extra=None):
    archive = Archive()
    fields = {"datesCount": count}
    fields.update({"date%d" % i: archive.date(d) for i, d in enumerate(dates)})
    for key, value in (extra or {}).items():
        fields[key] = value(archive) if callable(value) else value
    return archive.data(archive.obj("LastFivePerformingDates", fields))


def main():
    # Repeat intervals.
    interval_3_7 = repeat_interval({"times": 3, "days": 7})
    write("repeat-interval-3-7.plist", interval_3_7)
    write("repeat-interval-times-only-4.plist", repeat_interval({"times": 4}))
    write("repeat-interval-no-keys.plist", repeat_interval({}))
    write("repeat-interval-negative.plist", repeat_interval({"times": -5, "days": 3}))
    write("repeat-interval-times-is-text.plist",
          repeat_interval({"times": "three", "days": 7}))
    write("repeat-interval-3-7-truncated.bin", interval_3_7[: len(interval_3_7) // 2])
    write("repeat-interval-3-7-without-trailer.bin", interval_3_7[:-32])

    # Colours: an RGB colour 0.2/0.4/0.8 (0x3366CC) in the phone's UIColor form, with the
    # NSRGB string beside the UI keys, and a grey (white 0.5, alpha 1).
    archive = Archive()
    rgb = archive.obj("UIColor", {
        "UIColorComponentCount": 4, "UIRed": 0.2, "UIGreen": 0.4, "UIBlue": 0.8,
        "UIAlpha": 1.0, "NSColorSpace": 2, "NSRGB": b"0.2 0.4 0.8\x00"})
    write("color-rgb.plist", archive.data(rgb))

    archive = Archive()
    grey = archive.obj("UIColor", {
        "UIColorComponentCount": 2, "UIWhite": 0.5, "UIAlpha": 1.0,
        "NSColorSpace": 4, "NSWhite": b"0.5\x00"})
    write("color-grey.plist", archive.data(grey))

    # The byte-string forms alone, the way the desktop colour class writes them.
    archive = Archive()
    write("color-nsrgb-only.plist", archive.data(archive.obj(
        "NSColor", {"NSColorSpace": 1, "NSRGB": b"0.2 0.4 0.8 0.5\x00"})))
    archive = Archive()
    write("color-nswhite-only.plist", archive.data(archive.obj(
        "NSColor", {"NSColorSpace": 3, "NSWhite": b"0.25\x00"})))
    archive = Archive()
    write("color-without-components.plist", archive.data(archive.obj(
        "UIColor", {"UIColorComponentCount": 0})))
    # A colour object of a private subclass that lists UIColor among its classes.
    archive = Archive()
    write("color-subclass.plist", archive.data(archive.obj(
        "UIDeviceRGBColor", {"UIRed": 1.0, "UIGreen": 0.5, "UIBlue": 0.0, "UIAlpha": 1.0},
        chain=["UIDeviceRGBColor", "UIColor", "NSObject"])))

    # Five-date caches (seconds since 2001-01-01 UTC).
    write("last-five-dates-three.plist", last_five(3, [700000000.0, 700086400.0, 700172800.5]))
    write("last-five-dates-seven-unsorted.plist",
          last_five(7, [600.0, 100.0, 700.0, 300.0, 200.0, 500.0, 400.0]))
    write("last-five-dates-negative-count.plist", last_five(-1, [100.0]))
    write("last-five-dates-count-below-keys.plist", last_five(2, [100.0, 200.0, 300.0]))
    write("last-five-dates-with-non-date.plist", last_five(
        3, [100.0, 300.0], extra={"date2": lambda archive: archive.add("not a date")}))

    # Damaged archives.
    write("garbage.bin", b"".join(
        hashlib.sha256(b"dovrel garbage %d" % i).digest() for i in range(8)))
    write("bplist-not-an-archive.plist",
          plistlib.dumps({"times": 3, "days": 7}, fmt=plistlib.FMT_BINARY))
    write("wrong-archiver.plist", Archive().data(UID(0), archiver="SomethingElse"))

    archive = Archive()
    archive.add("padding")
    write("root-uid-out-of-range.plist", archive.data(UID(99)))

    # An object whose "$class" refers to itself instead of a class record.
    archive = Archive()
    self_uid = archive.add(None)
    archive.objects[self_uid.data] = {"times": 3, "$class": self_uid}
    write("class-refers-to-object.plist", archive.data(self_uid))

    # A "Node" whose child is itself, and a chain of three nodes (no cycle).
    archive = Archive()
    node = archive.add(None)
    record = archive.class_record("Node")
    archive.objects[node.data] = {"value": 1, "child": node, "$class": record}
    write("node-cycle.plist", archive.data(node))

    archive = Archive()
    leaf = archive.obj("Node", {"value": 3})
    middle = archive.obj("Node", {"value": 2, "child": leaf})
    write("node-chain.plist", archive.data(archive.obj("Node", {"value": 1, "child": middle})))


if __name__ == "__main__":
    main()
