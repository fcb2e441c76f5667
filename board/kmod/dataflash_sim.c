// SPDX-License-Identifier: GPL-2.0
/*
 * The board's dataflash in RAM: an MTD device of type MTD_DATAFLASH, writable,
 * 0x420000 bytes in pages of 528. Like the real part it takes writes without an
 * erase. Its contents are seeded and read back through its /dev/mtdN node.
 *
 * Faults, set at run time through /sys/module/dataflash_sim/parameters/. The
 * counters "reads" and "writes" number the driver's transfers from 1 and can be
 * reset by writing 0; a large transfer through /dev/mtdN may reach the driver
 * as several pieces, each counted. "opens" counts the opens of the device node.
 *   read_only=1    the device loses MTD_WRITEABLE: MEMGETINFO no longer shows
 *                  it and a read-write open is refused
 *   fail_write=n   the n-th write fails with EIO and stores nothing
 *   fail_read=n    the n-th read fails with EIO
 *   flip_read=n    the n-th read returns one byte inverted: the byte at device
 *                  offset flip_offset if the read covers it, or the read's
 *                  first byte when flip_offset is -1
 *   cut_after=n    power cut: every write after the n-th reports success and
 *                  stores nothing
 * 0 turns a fault off.
 */
#include <linux/module.h>
#include <linux/mtd/mtd.h>
#include <linux/mutex.h>
#include <linux/string.h>
#include <linux/vmalloc.h>

#define DATAFLASH_SIZE 0x420000
#define DATAFLASH_PAGE_SIZE 528

static unsigned int reads;
static unsigned int writes;
static unsigned int fail_write;
static unsigned int fail_read;
static unsigned int flip_read;
static long flip_offset = -1;
static unsigned int cut_after;
static unsigned int opens;
static bool read_only;

module_param(reads, uint, 0644);
module_param(writes, uint, 0644);
module_param(fail_write, uint, 0644);
module_param(fail_read, uint, 0644);
module_param(flip_read, uint, 0644);
module_param(flip_offset, long, 0644);
module_param(cut_after, uint, 0644);
module_param(opens, uint, 0644);

static struct mtd_info dataflash;
static u8 *cells;
static DEFINE_MUTEX(cells_lock);

static void apply_read_only(void)
{
	if (read_only)
		dataflash.flags &= ~MTD_WRITEABLE;
	else
		dataflash.flags |= MTD_WRITEABLE;
}

static int set_read_only(const char *value, const struct kernel_param *kp)
{
	int ret = param_set_bool(value, kp);

	if (ret == 0)
		apply_read_only();
	return ret;
}

static const struct kernel_param_ops read_only_ops = {
	.set = set_read_only,
	.get = param_get_bool,
};
module_param_cb(read_only, &read_only_ops, &read_only, 0644);

/* Every open of the device node takes a reference through here. */
static int dataflash_get_device(struct mtd_info *mtd)
{
	mutex_lock(&cells_lock);
	opens++;
	mutex_unlock(&cells_lock);
	return 0;
}

static void flip_byte(loff_t from, size_t len, u_char *buf)
{
	if (flip_offset < 0)
		buf[0] ^= 0xff;
	else if (flip_offset >= from && flip_offset < from + len)
		buf[flip_offset - from] ^= 0xff;
}

static int dataflash_read(struct mtd_info *mtd, loff_t from, size_t len,
			  size_t *retlen, u_char *buf)
{
	int ret = 0;

	mutex_lock(&cells_lock);
	reads++;
	if (reads == fail_read) {
		ret = -EIO;
	} else {
		memcpy(buf, cells + from, len);
		if (reads == flip_read && len > 0)
			flip_byte(from, len, buf);
		*retlen = len;
	}
	mutex_unlock(&cells_lock);
	return ret;
}

static int dataflash_write(struct mtd_info *mtd, loff_t to, size_t len,
			   size_t *retlen, const u_char *buf)
{
	int ret = 0;

	mutex_lock(&cells_lock);
	writes++;
	if (writes == fail_write) {
		ret = -EIO;
	} else {
		if (cut_after == 0 || writes <= cut_after)
			memcpy(cells + to, buf, len);
		*retlen = len;
	}
	mutex_unlock(&cells_lock);
	return ret;
}

/* The MTD core insists on an erase; the system itself never calls it. */
static int dataflash_erase(struct mtd_info *mtd, struct erase_info *instr)
{
	mutex_lock(&cells_lock);
	memset(cells + instr->addr, 0xff, instr->len);
	mutex_unlock(&cells_lock);
	return 0;
}

static int __init dataflash_sim_init(void)
{
	int ret;

	cells = vmalloc(DATAFLASH_SIZE);
	if (!cells)
		return -ENOMEM;
	memset(cells, 0xff, DATAFLASH_SIZE);

	dataflash.name = "dataflash";
	dataflash.type = MTD_DATAFLASH;
	dataflash.flags = 0;
	apply_read_only();
	dataflash.size = DATAFLASH_SIZE;
	dataflash.erasesize = DATAFLASH_PAGE_SIZE;
	dataflash.writesize = DATAFLASH_PAGE_SIZE;
	dataflash.writebufsize = DATAFLASH_PAGE_SIZE;
	dataflash.owner = THIS_MODULE;
	dataflash._read = dataflash_read;
	dataflash._write = dataflash_write;
	dataflash._erase = dataflash_erase;
	dataflash._get_device = dataflash_get_device;

	ret = mtd_device_register(&dataflash, NULL, 0);
	if (ret)
		vfree(cells);
	return ret;
}

static void __exit dataflash_sim_exit(void)
{
	mtd_device_unregister(&dataflash);
	vfree(cells);
}

module_init(dataflash_sim_init);
module_exit(dataflash_sim_exit);
MODULE_LICENSE("GPL");
MODULE_DESCRIPTION("RAM-backed dataflash with fault injection");
