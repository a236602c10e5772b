# SPDX-License-Identifier: LGPL-2.1-or-later
"""The emulated machine: its start, its memory, its pins."""

import ctypes
import os
import select
import signal
import socket
import subprocess

MEMORY = 0x80000000  # where it begins
MIB = 1 << 20
ARCHIVE = MEMORY + 16 * MIB  # behind the kernel, however small the board
ARCHIVE_LIMIT = 24 * MIB  # it is unpacked behind itself
IMAGE_SIZE = 32  # MiB behind the board's memory, for the base system
BANKS = (0x53FCC000, 0x53FD0000, 0x53FA4000, 0x53F9C000)  # registers: levels, then directions
LINES = 32 * len(BANKS)

# Lines for a bank that the processor lacks and for the expanders, and what leaves only 224 to 239
# to the last expander.
SIMULATED_LINES = "128,160,160,176,176,192,192,208,208,224,240,512"

# One instruction is four nanoseconds of the board's time, and waits take no time outside.
COUNTED = ["-icount", "shift=2,sleep=off", "-seed", "1"]
INSTRUCTION = 4


def dies_with_us():
    """Runs in the new process: the kernel ends it when this one ends, however that happens."""
    set_death_signal = 1
    ctypes.CDLL(None).prctl(set_death_signal, signal.SIGKILL)


def memory_file(name, content):
    """A file that has no name and leaves nothing behind."""
    descriptor = os.memfd_create(name, 0)
    with open(descriptor, "wb", closefd=False) as file:
        file.write(content)
    return descriptor


class Gone(Exception):
    """The emulator has ended."""


def send(channel, data):
    try:
        channel.sendall(data)
    except OSError as error:
        raise Gone from error


def receive(channel):
    """@return nothing when the emulator has ended, None if it has not sent anything"""
    try:
        return channel.recv(65536, socket.MSG_DONTWAIT)
    except BlockingIOError:
        return None
    except OSError:
        return b""


class Pins:
    """The processor's lines, as the world outside sees and drives them."""

    def __init__(self, channel, console):
        self.channel = channel
        self.console = console
        self.received = b""
        self.read_console = None  # to be called whenever the console has something

    def ask(self, command):
        send(self.channel, f"{command}\n".encode())
        reply, *values = self.read_line().split()
        if reply != "OK":
            raise ValueError(f"the emulator does not take \"{command}\"")
        return values

    def read_line(self):
        """The emulator stops, and answers nothing, while nobody takes what is on the console."""
        while b"\n" not in self.received:
            ready = select.select([self.channel, self.console], [], [])[0]
            if self.console in ready and not self.read_console():
                raise Gone
            if self.channel in ready:
                data = receive(self.channel)
                if not data:
                    raise Gone
                self.received += data
        line, _, self.received = self.received.partition(b"\n")
        return line.decode()

    def drive(self, line, level):
        self.ask(f"set_irq_in /machine/soc/gpio[{line // 32}] unnamed-gpio-in {line % 32} {level}")

    def register(self, address):
        return int(self.ask(f"readl {address:#x}")[0], 0)

    def level(self, line):
        return self.register(BANKS[line // 32]) >> line % 32 & 1

    def outputs(self):
        """The levels of all lines that are outputs."""
        levels = {}
        for bank, address in enumerate(BANKS):
            directions = self.register(address + 4)
            values = self.register(address) if directions else 0
            for bit in range(32):
                if directions >> bit & 1:
                    levels[32 * bank + bit] = values >> bit & 1
        return levels


class Machine:
    """
    A running board. Its console, its line to the machine outside and its pins are sockets without
    names.
    """

    def __init__(self, kernel, image, archive, memory, counted):
        self.console, console = socket.socketpair()
        self.control, control = socket.socketpair()
        channel, pins = socket.socketpair()
        programs = memory_file("archive", archive)
        inherited = [console.fileno(), control.fileno(), pins.fileno(), programs]
        image_address = MEMORY + memory * MIB
        parameters = (
            "console=ttymxc0,115200 quiet panic=-1 rootfstype=ramfs "
            f"mem={memory}M initrd={ARCHIVE:#x},{len(archive)} "
            f"phram.phram=root,{image_address:#x},{IMAGE_SIZE}Mi "
            f"gpio_mockup.gpio_mockup_ranges={SIMULATED_LINES}")
        command = [
            "qemu-system-arm", "-machine", "imx25-pdk", "-m", str(memory + IMAGE_SIZE),
            "-accel", "tcg", "-display", "none", "-monitor", "none", "-no-reboot", "-nic", "none",
            *chardev("console", console), "-serial", "chardev:console",
            *chardev("control", control), "-serial", "chardev:control",
            *chardev("pins", pins), "-object", "qtest,id=test,chardev=pins,log=/dev/null",
            "-kernel", f"{kernel}/zImage", "-dtb", f"{kernel}/board.dtb",
            *loaded(f"/proc/self/fd/{programs}", ARCHIVE), *loaded(image, image_address),
            "-append", parameters]
        if counted:
            command += COUNTED
        self.process = subprocess.Popen(
            command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
            pass_fds=inherited, preexec_fn=dies_with_us, start_new_session=True)
        for end in (console, control, pins):
            end.close()
        os.close(programs)
        self.pins = Pins(channel, self.console)
        self.complaint = ""

    def answer(self, text):
        send(self.control, f"{text}\n".encode())

    def type(self, data):
        send(self.console, data)

    def stop(self):
        """@return what the emulator complained of, its first line"""
        self.process.kill()
        with self.process:
            if not self.process.stderr.closed:
                self.complaint = self.process.stderr.read().decode(errors="replace").strip()
        return self.complaint.partition("\n")[0]


def chardev(name, end):
    return ["-chardev", f"socket,id={name},fd={end.fileno()}"]


def loaded(path, address):
    name = path.replace(",", ",,")
    return ["-device", f"loader,file={name},addr={address:#x},force-raw=on"]
