"""Getting the files out of the states of a disk: by the file system's own tools, or by a machine that mounts them."""

import itertools
import pathlib
import shutil
import subprocess
import tarfile
import tempfile

import machine

# Repairing syncs a lot, which a disk takes its time for.
MEMORY = "/dev/shm" if pathlib.Path("/dev/shm").is_dir() else None
STATES_PER_MACHINE = 150
MEGABYTES_HANDED_OUT = 64


def extract(file_system, states):
    """Yields (recording, number, state, files by name) for each (recording, number, state); the files are None where
    the file system could not be repaired or mounted."""
    extract_batch, size = (extract_here, 1) if file_system.repair else (extract_there, STATES_PER_MACHINE)
    states = iter(states)
    with tempfile.TemporaryDirectory(dir=MEMORY) as workplace:
        while batch := list(itertools.islice(states, size)):
            found = extract_batch(file_system, batch, pathlib.Path(workplace) / "state")
            for (recording, number, state), files in zip(batch, found, strict=True):
                yield recording, number, state, files


def folder_of(recording):
    return recording.cell.replace("/", "-")


def files_in(folder):
    return {file.name: file.read_bytes() for file in folder.iterdir()}


def extract_here(file_system, batch, workplace):
    """Repairs one image, as a board would at its start, and reads the folder."""
    ((recording, _, state),) = batch
    shutil.rmtree(workplace, ignore_errors=True)
    workplace.mkdir()
    image, folder = workplace / "image", folder_of(recording)
    image.write_bytes(recording.image(state))
    repaired = subprocess.run(["sh", "-c", file_system.repair, "sh", str(image)], stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL, check=False)
    if repaired.returncode >= file_system.repair_failure:
        return [None]
    machine.run_shell(file_system.copy, image, folder, workplace)
    return [files_in(workplace / folder)]


def extract_there(file_system, batch, workplace):
    """Boots a machine with all the images, one after another on one disk, which mounts them and hands the files out."""
    shutil.rmtree(workplace, ignore_errors=True)
    workplace.mkdir()
    states, handed_out = workplace / "states", workplace / "handed-out"
    with states.open("wb") as file:
        for index, (recording, _, state) in enumerate(batch):
            write_sparsely(file, index * file_system.megabytes << 20, recording.image(state))
        file.truncate(len(batch) * file_system.megabytes << 20)
    with handed_out.open("wb") as file:
        file.truncate(MEGABYTES_HANDED_OUT << 20)
    folders = [folder_of(recording) for recording, _, _ in batch]
    machine.boot(workplace, file_system, handing_out_job(file_system, folders),
                 [machine.plain_disk(0, states), machine.plain_disk(1, handed_out)], seconds=900)
    with tarfile.open(handed_out) as archive:
        archive.extractall(workplace / "files", filter="data")
    return [mounted_files(workplace / "files", index) for index in range(len(batch))]


def write_sparsely(file, start, image, step=1 << 16):
    zeros = bytes(step)
    for offset in range(0, len(image), step):
        piece = image[offset : offset + step]
        if piece != zeros:
            file.seek(start + offset)
            file.write(piece)


def handing_out_job(file_system, folders):
    """What fails in it after the mount fails the machine's job: a state that nobody can judge is an error."""
    lines = ["mkdir /state /out", f"set -- /dev/loop0 /state {file_system.megabytes << 20}"]
    for index, folder in enumerate(folders):
        lines += [f"losetup -o {index * file_system.megabytes << 20} /dev/loop0 /dev/vda",
                  f"if {file_system.mount}; then",
                  f"    cp -r /state/{folder} /out/{index}",
                  "    umount $2",
                  "else",
                  f"    touch /out/{index}.unmountable",
                  "fi",
                  file_system.release,
                  "losetup -d /dev/loop0"]
    return "\n".join([*lines, "tar -cf /dev/vdb -C /out .", "sync", ""])


def mounted_files(folder, index):
    if (folder / f"{index}.unmountable").exists():
        return None
    return files_in(folder / str(index))
