"""The two tables of what is tried: the file systems, and the ways of storing."""

import dataclasses

FORMATS = ("xml", "binary", "secure")


@dataclasses.dataclass(frozen=True)
class Way:
    """How a file is stored, and what is left out of it."""

    name: str
    base: str  # what the guest is told: new-file, in-place or recipe
    left_out: tuple = ()
    formats: tuple = FORMATS
    text: str = ""


SYNCING = ("xml", "secure")  # the binary provider has no sync to leave out

WAYS = (
    Way("new-file", "new-file", text="the file did not exist"),
    Way("in-place", "in-place", text="the file is rewritten in place"),
    Way("in-place-unsynced", "in-place", ("library-sync",), SYNCING, "in place, `fsync` does nothing"),
    Way("recipe", "recipe", text="the recipe"),
    Way("recipe-same-name", "recipe", ("other-name",), text="the recipe without another name"),
    Way("recipe-no-file-sync", "recipe", ("file-sync",), text="the recipe without its own `fsync` of the file"),
    Way("recipe-unsynced-file", "recipe", ("library-sync", "file-sync", "renamed-sync"), SYNCING,
        "the recipe without any `fsync` of the file"),
    Way("recipe-no-rename", "recipe", ("rename",), text="the recipe without the `rename`"),
    Way("recipe-no-renamed-sync", "recipe", ("renamed-sync",),
        text="the recipe without the `fsync` of the renamed file"),
    Way("recipe-no-directory-sync", "recipe", ("directory-sync",), text="the recipe without the `fsync` of the directory"),
    Way("recipe-unsynced", "recipe", ("library-sync", "file-sync", "renamed-sync", "directory-sync"),
        text="the recipe, `fsync` does nothing"),
)


@dataclasses.dataclass(frozen=True)
class Cell:
    format: str
    way: Way

    @property
    def name(self):
        return f"{self.format}/{self.way.name}"

    @property
    def folder(self):
        return f"{self.format}-{self.way.name}"


CELLS = tuple(Cell(format, way) for way in WAYS for format in way.formats)


@dataclasses.dataclass(frozen=True)
class FileSystem:
    """Commands are shell's."""

    name: str
    megabytes: int
    modules: tuple
    mount: str  # in the guest: mounts the first $3 bytes of the device $1 at $2
    make: str = ":"  # makes it in the image $1
    blank: int = 0  # the bytes of a medium that nothing has been written to
    late_modules: tuple = ()  # those that `mount` loads itself, from /late
    release: str = ":"  # in the guest, after unmounting and after a mount that failed
    prepare: str = ":"  # in the guest, once it is mounted
    repair: str = ""  # of the image $1; without it, the states are mounted by a second machine
    repair_failure: int = 0  # the least exit status that means "not repaired"
    copy: str = ""  # copies the folder $2 of the image $1 into the folder $3
    keeps: tuple = ()  # patterns of cells; if any of them loses something, the run fails
    loses: tuple = ()  # patterns of cells; if none of a pattern's loses something, the test is blind, and the run fails

    @property
    def states_per_cell(self):
        """As many as the whole has time for: a mount in the machine takes longer than a repair on this one."""
        return 90 if self.repair else 24


# The tables at once: the kernel would fill them meanwhile, which has nothing to do with what is looked at.
MAKE_EXT4 = "mkfs.ext4 -q -E lazy_itable_init=0,lazy_journal_init=0"
EXT4 = {
    "modules": ("ext4",),
    "repair": "e2fsck -fy $1",
    "repair_failure": 4,
    "copy": 'debugfs -R "rdump /$2 $3" $1',
}

RECIPE = ("*/recipe",)
SYNCED = ("xml/in-place", "secure/in-place")
# A file system that keeps writes in memory loses what nobody has synced; none has what was not renamed.
UNSYNCED = ("*/in-place-unsynced", "binary/in-place", "*/recipe-unsynced", "*/recipe-no-rename")
# Without a journal, what belongs together is written in pieces; every step of the recipe matters.
TORN_APART = ("*/recipe-same-name", "binary/recipe-no-file-sync", "*/recipe-unsynced-file", "*/recipe-no-renamed-sync")

FILE_SYSTEMS = {
    row.name: row
    for row in (
        FileSystem("ext4", 24, make=f"{MAKE_EXT4} $1", **EXT4,
                   mount="mount -t ext4 -o commit=1 $1 $2",  # commits every second instead of every five
                   keeps=(*RECIPE, *SYNCED),
                   loses=UNSYNCED),
        FileSystem("ext4-no-journal", 24, make=f"{MAKE_EXT4} -O ^has_journal $1", **EXT4,
                   mount="mount -t ext4 $1 $2", keeps=SYNCED, loses=UNSYNCED),
        FileSystem("vfat", 24, ("vfat", "nls_cp437", "nls_ascii"), "mount -t vfat $1 $2", make="mkfs.vfat $1",
                   repair="fsck.fat -a -w $1", repair_failure=2, copy="mcopy -s -n -i $1 ::$2 $3",
                   keeps=SYNCED, loses=(*UNSYNCED, *TORN_APART)),
        FileSystem("f2fs", 64, ("f2fs",), "mount -t f2fs $1 $2", make="mkfs.f2fs -q $1",
                   prepare="echo 1 >/sys/fs/f2fs/vda2/cp_interval",  # checkpoints every second instead of every sixty
                   keeps=(*RECIPE, *SYNCED), loses=UNSYNCED),
        FileSystem("ubifs", 24, ("mtd", "crc16", "zstd"),
                   "insmod /late/flash.ko device=$1 size=$3 erase_size=131072 write_size=2048 && insmod /late/ubi.ko mtd=0"
                   " && insmod /late/ubifs.ko && mount -t ubifs ubi0:data $2",
                   make="powerloss/make-ubifs.sh $1", blank=0xFF, late_modules=("flash", "ubi", "ubifs"),
                   release="rmmod ubifs; rmmod ubi; rmmod flash",
                   keeps=(*RECIPE, *SYNCED), loses=UNSYNCED),
        FileSystem("jffs2", 8, ("mtd", "jffs2"),
                   "insmod /late/flash.ko device=$1 size=$3 && mount -t jffs2 mtd0 $2",
                   blank=0xFF, late_modules=("flash",), release="rmmod flash",
                   keeps=(*RECIPE, "*/in-place"), loses=("*/recipe-same-name", "*/recipe-no-rename")),
    )
}

# What every change has to pass.
SHORT_FILE_SYSTEMS = ("ext4",)
SHORT_WAYS = ("in-place", "in-place-unsynced", "recipe", "recipe-unsynced")
SHORT_CELLS = tuple(cell for cell in CELLS if cell.format in ("xml", "secure") and cell.way.name in SHORT_WAYS)
