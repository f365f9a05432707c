"""The machine whose power goes: Debian's kernel, an initramfs, qemu without hardware virtualisation."""

import pathlib
import shutil
import struct
import subprocess
import threading

ROOT = pathlib.Path(__file__).resolve().parents[1]
BUILD = ROOT / "build/powerloss"
KERNEL = BUILD / "kernel"
GUEST = BUILD / "powerloss/tal_powerloss_guest"
DESCRIPTION = ROOT / "examples/radio-unit.json"

MARK_SECTORS = 2048  # the first partition, for the marks; the file system is in the second
MODULES = ("virtio_pci", "virtio_blk", "loop")


class MachineError(Exception):
    pass


def run(*command, **options):
    """Runs a command that has to succeed; its output is shown only if it does not."""
    words = [str(word) for word in command]
    ended = subprocess.run(words, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False, **options)
    if ended.returncode != 0:
        raise MachineError(f"{' '.join(words)} ended with {ended.returncode}:\n{ended.stdout.decode(errors='replace')}")
    return ended.stdout


def run_shell(script, *arguments):
    """Runs a piece of shell with $1, $2 and so on, in the root of the repository."""
    run("sh", "-euc", script, "sh", *arguments, cwd=ROOT)


def release():
    (folder,) = (KERNEL / "lib/modules").iterdir()
    return folder.name


def modules_of(names):
    """The files of the modules and of what they need, in the order of loading."""
    files = []
    for name in names:
        shown = run("modprobe", "-d", KERNEL, "-S", release(), "--show-depends", name).decode()
        for line in shown.splitlines():
            kind, _, file = line.partition(" ")
            if kind == "insmod" and file.strip() not in files:
                files.append(file.strip())
    return files


def make_initramfs(folder, file_system, job):
    tree = folder / "initramfs"
    shutil.rmtree(tree, ignore_errors=True)
    for room in ("bin", "modules", "late"):
        (tree / room).mkdir(parents=True)
    shutil.copy("/bin/busybox", tree / "bin/busybox")
    shutil.copy(GUEST, tree / "guest")
    shutil.copy(DESCRIPTION, tree / "description.json")
    shutil.copy(ROOT / "powerloss/guest/init.sh", tree / "init")
    (tree / "init").chmod(0o755)
    (tree / "job.sh").write_text(job)
    for number, module in enumerate(modules_of((*MODULES, *file_system.modules))):
        shutil.copy(module, tree / "modules" / f"{number:02}-{pathlib.Path(module).name}")
    for name in file_system.late_modules:
        shutil.copy(modules_of([name])[-1], tree / "late")
    archive = folder / "initramfs.cpio"
    with archive.open("wb") as file:
        files = run("find", ".", cwd=tree)
        subprocess.run(["cpio", "--quiet", "-o", "-H", "newc"], cwd=tree, input=files, stdout=file, check=True)
    shutil.rmtree(tree)
    return archive


def make_disk(file, content):
    """A disk of two partitions: one for the marks, and one with `content`."""
    partitions = ((MARK_SECTORS // 2, MARK_SECTORS // 2), (MARK_SECTORS, len(content) // 512))
    table = b"".join(struct.pack("<B3sB3sII", 0, b"\0\0\0", 0x83, b"\0\0\0", *place) for place in partitions)
    boot_sector = bytes(446) + table.ljust(64, b"\0") + b"\x55\xaa"
    file.write_bytes(boot_sector.ljust(MARK_SECTORS * 512, b"\0") + content)


def logged_disk(disk, log):
    """What the guest flushes is logged as flushed; that this machine's own power may go is nobody's concern."""
    log.write_bytes(b"")
    return (f"driver=file,filename={disk},node-name=bare,cache.no-flush=on",
            f"driver=file,filename={log},node-name=log,cache.no-flush=on",
            "driver=blklogwrites,file=bare,log=log,log-sector-size=512,log-super-update-interval=1,node-name=disk0")


def plain_disk(number, disk):
    return (f"driver=file,filename={disk},node-name=disk{number},cache.no-flush=on",)


def boot(folder, file_system, job, disks, seconds):
    """Boots, does the job, and takes the power away. `disks` are the options that make disk0, disk1 and so on."""
    initramfs = make_initramfs(folder, file_system, job)
    command = ["qemu-system-x86_64", "-accel", "tcg", "-cpu", "max", "-m", "768", "-nodefaults", "-no-user-config",
               "-no-reboot", "-display", "none", "-serial", "stdio",
               "-kernel", str(KERNEL / f"boot/vmlinuz-{release()}"), "-initrd", str(initramfs),
               "-append", "console=ttyS0 quiet panic=-1"]
    for number, options in enumerate(disks):
        for option in options:
            command += ["-blockdev", option]
        command += ["-device", f"virtio-blk-pci,drive=disk{number},discard=off,write-zeroes=off"]
    read_console(command, folder / "console.txt", seconds)


def read_console(command, transcript, seconds):
    with subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT) as qemu:
        # Closes the log in order; for the guest it is as sudden as any other end.
        timer = threading.Timer(seconds, qemu.terminate)
        timer.start()
        lines = []
        for line in qemu.stdout:
            lines.append(line.decode(errors="replace").rstrip())
            if lines[-1] in ("job: done", "job: failed"):
                break
        qemu.terminate()
        rest = qemu.stdout.read().decode(errors="replace")
        timer.cancel()
    transcript.write_text("\n".join(lines) + "\n" + rest)
    if lines[-1:] != ["job: done"]:
        raise MachineError(f"the machine did not do its job within {seconds} s:\n" + "\n".join(lines[-30:]) + rest)
