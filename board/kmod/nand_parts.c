// SPDX-License-Identifier: GPL-2.0
/*
 * The board's NAND layout on the simulated NAND chip (mtd0): the root and
 * applications partitions of both baselines, in this order, so that they come
 * out as mtd1 to mtd4 with no gap in the numbering. Each holds a UBIFS with
 * 16 MiB of files and more; together they fill the 128 MiB chip.
 */
#include <linux/module.h>
#include <linux/mtd/mtd.h>
#include <linux/mtd/partitions.h>
#include <linux/sizes.h>

struct nand_part {
	const char *name;
	long long size;
};

static const struct nand_part parts[] = {
	{ "rootfs1", SZ_32M },
	{ "rootfs2", SZ_32M },
	{ "apps1", SZ_32M },
	{ "apps2", SZ_32M },
};

/*
 * Scenarios change the layout at run time through two write-only parameters
 * under /sys/module/nand_parts/parameters/: "add" takes "<name> <offset>
 * <size>" in bytes and adds a partition on mtd0, which gets the lowest free
 * MTD number; "del" takes an MTD number and removes that partition of mtd0.
 * The kernel's BLKPG request cannot add here: mtd0 is itself nandsim's
 * partition of the chip, and only a chip's own device takes new partitions.
 */
static int add_partition(const char *value, const struct kernel_param *kp)
{
	struct mtd_info *chip;
	long long offset, size;
	char name[32];
	int ret;

	if (sscanf(value, "%31s %lli %lli", name, &offset, &size) != 3)
		return -EINVAL;
	chip = get_mtd_device(NULL, 0);
	if (IS_ERR(chip))
		return PTR_ERR(chip);
	ret = mtd_add_partition(chip, name, offset, size);
	put_mtd_device(chip);
	return ret;
}

static int del_partition(const char *value, const struct kernel_param *kp)
{
	struct mtd_info *chip;
	int number, ret;

	ret = kstrtoint(value, 0, &number);
	if (ret)
		return ret;
	chip = get_mtd_device(NULL, 0);
	if (IS_ERR(chip))
		return PTR_ERR(chip);
	ret = mtd_del_partition(chip, number);
	put_mtd_device(chip);
	return ret;
}

static const struct kernel_param_ops add_ops = { .set = add_partition };
static const struct kernel_param_ops del_ops = { .set = del_partition };
module_param_cb(add, &add_ops, NULL, 0200);
module_param_cb(del, &del_ops, NULL, 0200);

static int __init nand_parts_init(void)
{
	struct mtd_info *chip = get_mtd_device(NULL, 0);
	long long offset = 0;
	int ret = 0;
	int i;

	if (IS_ERR(chip))
		return PTR_ERR(chip);
	for (i = 0; i < ARRAY_SIZE(parts) && ret == 0; i++) {
		ret = mtd_add_partition(chip, parts[i].name, offset,
					parts[i].size);
		offset += parts[i].size;
	}
	put_mtd_device(chip);
	return ret;
}

module_init(nand_parts_init);
MODULE_LICENSE("GPL");
MODULE_DESCRIPTION("Named partitions of the board's NAND on mtd0");
