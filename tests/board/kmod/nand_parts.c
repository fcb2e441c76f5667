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

static int __init nand_parts_init(void)
{
	struct mtd_info *chip = get_mtd_device(NULL, 0);
	long long offset = 0;
	int ret = 0;
	int i;

	if (IS_ERR(chip))
		return PTR_ERR(chip);
	for (i = 0; i < ARRAY_SIZE(parts) && ret == 0; i++) {
		ret = mtd_add_partition(chip, parts[i].name, offset, parts[i].size);
		offset += parts[i].size;
	}
	put_mtd_device(chip);
	return ret;
}

module_init(nand_parts_init);
MODULE_LICENSE("GPL");
MODULE_DESCRIPTION("Named partitions of the board's NAND on mtd0");
