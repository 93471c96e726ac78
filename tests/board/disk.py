"""The initial RAM disk of an emulated board."""
import pathlib
import re
import stat
import subprocess

CONSOLE = (5, 1)  # numbers of the device, which the kernel opens before there is anything in /dev


class Archive:
    """A newc archive, as Documentation/driver-api/early-userspace of the kernel describes it."""

    def __init__(self, stream):
        self._stream = stream
        self._count = 0
        self._size = 0

    def folder(self, name):
        self._entry(name, stat.S_IFDIR | 0o755)

    def device(self, name, numbers):
        self._entry(name, stat.S_IFCHR | 0o600, device=numbers)

    def link(self, name, target):
        self._entry(name, stat.S_IFLNK | 0o777, target.encode())

    def file(self, name, content, mode=0o644):
        self._entry(name, stat.S_IFREG | mode, content)

    def close(self):
        self._entry("TRAILER!!!", 0)

    def _entry(self, name, mode, content=b"", device=(0, 0)):
        self._count += 1
        path = name.encode() + b"\0"
        numbers = [self._count, mode, 0, 0, 1, 0, len(content), 0, 0, *device, len(path), 0]
        self._write(b"070701" + b"".join(b"%08X" % number for number in numbers) + path)
        self._write(content)

    def _write(self, data):
        self._stream.write(data + bytes(-(self._size + len(data)) % 4))
        self._size += len(data) + -(self._size + len(data)) % 4


def libraries_of(programs, folders):
    """Everything that the programs load, as paths: of each library the first file of that name in the folders."""
    found = {}
    waiting = list(programs)
    while waiting:
        said = subprocess.run(["readelf", "-d", waiting.pop()], check=True, capture_output=True, text=True).stdout
        for name in re.findall(r"\(NEEDED\).*\[(.*)\]", said):
            if name in found:
                continue
            found[name] = next((path for path in (folder / name for folder in folders) if path.exists()), None)
            if found[name] is None:
                raise FileNotFoundError(f"{name} is in none of {', '.join(map(str, folders))}")
            waiting.append(found[name])
    return list(found.values())


def write_disk(path, root, sysroot, busybox, modules, files):
    """Writes the disk to `path`.

    root: what our packages install, and the example beside it; sysroot: where the libraries are; modules: paths of the
    kernel's modules, in the order in which they are to be loaded; files: name on the disk -> (content, mode).
    """
    triplet = "arm-linux-gnueabihf"
    # The driver is loaded by name, so no program says that it needs it.
    ours = ["usr/bin/plchost", "usr/bin/logger", f"usr/lib/{triplet}/libplcdriver.so.1", f"usr/lib/{triplet}/libplcruntime.so.1"]
    programs = [root / name for name in ours]
    folders = [root / "usr/lib" / triplet, sysroot / "lib" / triplet, sysroot / "usr/lib" / triplet]
    with open(path, "wb") as stream:
        archive = Archive(stream)
        for folder in ("bin", "dev", "lib", "lib/" + triplet, "modules", "proc", "sys", "tmp", "usr", "usr/bin", "usr/lib",
                       "usr/lib/" + triplet):
            archive.folder(folder)
        archive.device("dev/console", CONSOLE)
        archive.file("bin/busybox", busybox.read_bytes(), 0o755)
        archive.link("lib/ld-linux-armhf.so.3", triplet + "/ld-linux-armhf.so.3")
        for name in ours:
            archive.file(name, (root / name).read_bytes(), 0o755)
        for library in libraries_of(programs, folders):
            if library not in programs:
                archive.file(f"lib/{triplet}/{library.name}", library.read_bytes(), 0o755)
        for number, module in enumerate(modules):
            archive.file(f"modules/{number}-{pathlib.Path(module).name}", module.read_bytes())
        for name, (content, mode) in files.items():
            archive.file(name, content, mode)
        archive.close()
