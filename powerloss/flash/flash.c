/// A flash whose medium is a block device, as a module of the kernel.
///
/// What is written is on the device before the call returns, and in the order of the calls, as it is on a flash. Linux'
/// own block2mtd leaves it in memory until somebody flushes the block device, which no file system for flash does.
#include <linux/bio.h>
#include <linux/blkdev.h>
#include <linux/module.h>
#include <linux/mtd/mtd.h>
#include <linux/vmalloc.h>

MODULE_LICENSE("GPL");
MODULE_DESCRIPTION("A flash whose medium is a block device");

static char* device;
module_param(device, charp, 0);
MODULE_PARM_DESC(device, "the block device");

static ulong size;
module_param(size, ulong, 0);
MODULE_PARM_DESC(size, "bytes of the device that are the flash, from its beginning");

static uint erase_size = 64 * 1024;
module_param(erase_size, uint, 0);
MODULE_PARM_DESC(erase_size, "bytes of an erase block");

static uint write_size;
module_param(write_size, uint, 0);
MODULE_PARM_DESC(write_size, "bytes of a page of NAND; 0 for NOR, which takes single bytes");

#define MODE (FMODE_READ | FMODE_WRITE | FMODE_EXCL)

static struct block_device* medium;
static u8* content; /* the same as on the medium */
static struct mtd_info flash;

/* One request, whatever its length up to an erase block, and a flush after it. */
static int transfer(blk_opf_t operation, loff_t start, size_t length) {
    const loff_t first = round_down(start, SECTOR_SIZE);
    const loff_t end = round_up(start + length, SECTOR_SIZE);
    struct bio* bio = bio_alloc(medium, BIO_MAX_VECS, operation, GFP_NOIO);
    loff_t place;
    int result = 0;

    bio->bi_iter.bi_sector = first >> SECTOR_SHIFT;
    for (place = first; place < end && result == 0;) {
        const uint offset = offset_in_page(content + place);
        const uint bytes = min_t(loff_t, PAGE_SIZE - offset, end - place);

        if (bio_add_page(bio, vmalloc_to_page(content + place), bytes, offset) != bytes) {
            result = -EIO;
        }
        place += bytes;
    }
    if (result == 0) {
        result = submit_bio_wait(bio);
    }
    bio_put(bio);
    return result;
}

static int flash_read(struct mtd_info* mtd, loff_t from, size_t length, size_t* read, u_char* bytes) {
    memcpy(bytes, content + from, length);
    *read = length;
    return 0;
}

static int flash_write(struct mtd_info* mtd, loff_t to, size_t length, size_t* written, const u_char* bytes) {
    size_t i;

    /* Writing clears bits, only erasing sets them. */
    for (i = 0; i < length; ++i) {
        content[to + i] &= bytes[i];
    }
    *written = length;
    return length == 0 ? 0 : transfer(REQ_OP_WRITE | REQ_SYNC | REQ_FUA, to, length);
}

static int flash_erase(struct mtd_info* mtd, struct erase_info* erased) {
    loff_t block;
    int result = 0;

    for (block = erased->addr; block < erased->addr + erased->len && result == 0; block += erase_size) {
        memset(content + block, 0xFF, erase_size);
        result = transfer(REQ_OP_WRITE | REQ_SYNC | REQ_FUA, block, erase_size);
    }
    return result;
}

static int read_medium(void) {
    loff_t block;
    int result = 0;

    for (block = 0; block < flash.size && result == 0; block += erase_size) {
        result = transfer(REQ_OP_READ, block, erase_size);
    }
    return result;
}

static void describe_flash(void) {
    flash.name = "flash";
    flash.owner = THIS_MODULE;
    flash.type = write_size ? MTD_NANDFLASH : MTD_NORFLASH;
    flash.flags = write_size ? MTD_CAP_NANDFLASH : MTD_CAP_NORFLASH;
    flash.size = size;
    flash.erasesize = erase_size;
    flash.writesize = write_size ? write_size : 1;
    flash.writebufsize = flash.writesize;
    flash._read = flash_read;
    flash._write = flash_write;
    flash._erase = flash_erase;
}

static void close_medium(void) {
    vfree(content);
    blkdev_put(medium, MODE);
}

static int __init flash_start(void) {
    int result;

    medium = blkdev_get_by_path(device, MODE, &flash);
    if (IS_ERR(medium)) {
        return PTR_ERR(medium);
    }
    describe_flash();
    content = vmalloc(flash.size);
    result = content ? read_medium() : -ENOMEM;
    if (result == 0) {
        result = mtd_device_register(&flash, NULL, 0);
    }
    if (result != 0) {
        close_medium();
    }
    return result;
}

static void __exit flash_end(void) {
    mtd_device_unregister(&flash);
    close_medium();
}

module_init(flash_start);
module_exit(flash_end);
