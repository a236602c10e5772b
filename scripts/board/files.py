# SPDX-License-Identifier: LGPL-2.1-or-later
"""What goes onto the emulated board: programs, the libraries that they need, other files."""

import os
import re
import stat
import subprocess

READELF = "arm-linux-gnueabi-readelf"
LOADER = "/lib/ld-linux.so.3"
# What the board has of its own; files of the machine's that lie there would be hidden or hide it.
OWN_FOLDERS = {"bin", "dev", "lib", "mnt", "proc", "run", "sys", "usr"}


class Refused(Exception):
    """Something that was asked for and cannot be done; the text is for the user."""


def describe(path):
    """What readelf says of a file, or None if it is no ELF file."""
    with open(path, "rb") as file:
        if file.read(4) != b"\x7fELF":
            return None
    command = [READELF, "--wide", "--file-header", "--program-headers", "--dynamic", path]
    result = subprocess.run(command, env={**os.environ, "LC_ALL": "C"}, capture_output=True,
                            text=True, errors="replace", check=False)
    if result.returncode != 0:
        raise Refused(f"{path} is damaged")
    return result.stdout


def check_architecture(path, description):
    machine = re.search(r"Machine: +(.*)", description)
    if not machine or machine[1] != "ARM":
        raise Refused(f"{path} is for {machine[1] if machine else 'no processor'}, not for the "
                      "board; build it with cmake/armel.cmake")
    loader = re.search(r"program interpreter: (.*)\]", description)
    if loader and loader[1] != LOADER:
        raise Refused(f"{path} is for another kind of ARM system ({loader[1]}); build it with "
                      "cmake/armel.cmake")


def check_program(path):
    """@return the full name of a program, which is one for the board or a script"""
    path = os.path.abspath(path)
    check_file(path)
    if not os.access(path, os.X_OK):
        raise Refused(f"{path} is not executable")
    description = describe(path)
    if description:
        check_architecture(path, description)
    else:
        with open(path, "rb") as file:
            if file.read(2) != b"#!":
                raise Refused(f"{path} is no program")
    return path


def check_file(path):
    path = os.path.abspath(path)
    if not os.path.exists(path):
        raise Refused(f"there is no file {path}")
    if not os.path.isfile(path):
        raise Refused(f"{path} is no file")
    if not os.access(path, os.R_OK):
        raise Refused(f"{path} cannot be read")
    if path.split("/")[1] in OWN_FOLDERS:
        raise hidden(path)
    return path


def hidden(path):
    return Refused(f"{path} lies where the board has its own files; copy it elsewhere")


class Collection:
    """Files of the machine's and where they lie on the board."""

    def __init__(self, libraries_there, folders):
        """@param libraries_there the libraries that the board has @param folders of others"""
        self.files = {}
        self.libraries_there = set(libraries_there)
        self.folders = folders

    def add(self, path):
        """Adds a file under its own name, and the libraries that it needs."""
        path = check_file(path)
        self.files[path] = path
        self.add_libraries(path)

    def add_libraries(self, path):
        description = describe(path)
        if not description:
            return
        check_architecture(path, description)
        runpath = re.search(r"\((?:RUNPATH|RPATH)\).*\[(.*)\]", description)
        folders = runpath[1].split(":") if runpath else []
        folders = [re.sub(r"\$(ORIGIN\b|{ORIGIN})", lambda _: os.path.dirname(path), folder)
                   for folder in folders if folder]
        folders += [os.path.dirname(path)] + self.folders
        for name in re.findall(r"\(NEEDED\).*\[(.*)\]", description):
            place = f"/lib/{name}"
            if name in self.libraries_there or place in self.files:
                continue
            self.files[place] = find_library(name, folders, path)
            self.add_libraries(self.files[place])


def find_library(name, folders, user):
    for folder in folders:
        path = os.path.join(folder, name)
        if os.path.isfile(path):
            return os.path.realpath(path)
    raise Refused(f"{user} needs {name}, which is neither beside it nor in the sysroot")


class Archive:
    """The first file system of a kernel, in the cpio format that it takes: "newc"."""

    def __init__(self):
        self.parts = []
        self.names = set()

    def entry(self, name, mode, content):
        if name in self.names:
            return
        self.names.add(name)
        self.folder(os.path.dirname(name))
        encoded = os.fsencode(name) + b"\0"
        number = len(self.names)
        # inode, mode, owner, group, links, time, size, device, device, length of the name, sum
        fields = (number, mode, 0, 0, 1, 0, len(content), 0, 0, 0, 0, len(encoded), 0)
        header = b"070701" + b"".join(b"%08x" % field for field in fields)
        self.parts += [padded(header + encoded), padded(content)]

    def folder(self, name):
        if name:
            self.entry(name, stat.S_IFDIR | 0o755, b"")

    def link(self, name, target):
        self.entry(name, stat.S_IFLNK | 0o777, os.fsencode(target))

    def text(self, name, content):
        self.entry(name, stat.S_IFREG | 0o755, os.fsencode(content))

    def file(self, name, path):
        with open(path, "rb") as file:
            mode = stat.S_IFREG | (0o755 if os.access(path, os.X_OK) else 0o644)
            self.entry(name.lstrip("/"), mode, file.read())

    def content(self):
        self.entry("TRAILER!!!", 0, b"")
        return b"".join(self.parts)


def padded(content):
    return content + bytes(-len(content) % 4)
