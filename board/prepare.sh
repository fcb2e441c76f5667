#!/bin/sh
# Prepares the kernel side of the board VM from Debian's packages, once per
# kernel ABI: Debian's amd64 kernel as an uncompressed vmlinux (QEMU boots it
# through its PVH entry, twice as fast as the bzImage under TCG), the modules
# the board needs with our own two built against the matching headers, and
# busybox. Packages are fetched with apt-get download and unpacked with
# dpkg-deb -x, so nothing is installed and no install script runs.
#
# Usage: prepare.sh <cache dir> <our module sources>
# Prints the prepared directory: vmlinux, modules.cpio (the modules and their
# load order, lib/modules/load.list), busybox.
# SPDX-License-Identifier: MIT
set -eu

cache=$1
kmod_src=$(cd "$2" && pwd)

# The archive replaces the ABI package on kernel updates, so the ABI is read
# from the meta-package each time and names the cache entry.
current_abi() {
    apt-cache depends linux-image-amd64 2>/dev/null |
        sed -n 's/^ *Depends: linux-image-\([0-9][^ ]*\)-amd64$/\1/p' | head -n 1
}

as_root() {
    if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

# Reading the package lists takes seconds: the answer is kept until they change.
mkdir -p "$cache"
known_abi=$cache/abi
lists=/var/lib/apt/lists
if [ -s "$known_abi" ] && [ -z "$(find "$lists" -newer "$known_abi" 2>/dev/null | head -n 1)" ]; then
    abi=$(cat "$known_abi")
else
    abi=$(current_abi)
    if [ -z "$abi" ]; then
        as_root apt-get update -q >&2
        abi=$(current_abi)
    fi
    if [ -z "$abi" ]; then
        echo "prepare: apt-cache knows no linux-image-amd64" >&2
        exit 1
    fi
    echo "$abi" > "$known_abi"
fi

out=$(mkdir -p "$cache" && cd "$cache" && pwd)/$abi-amd64
root=$out/root
headers=$root/usr/src/linux-headers-$abi-amd64

# Modules of the board in load order: NAND simulator, UBI, then the zstd crypto
# module that UBIFS cannot initialise without (a dependency modprobe cannot
# see), then UBIFS.
modules="nandsim ubi zstd ubifs"
# NAND chip of 128 MiB with 2 KiB pages and 128 KiB erase blocks.
nandsim_params="id_bytes=0xec,0xa1,0x00,0x15"

is_elf() {
    [ "$(head -c 4 "$1" | od -An -c | tr -d ' ')" = '177ELF' ]
}

# vmlinux is the xz payload of the bzImage: try each xz header in turn.
extract_vmlinux() {
    for offset in $(LC_ALL=C grep -obUaP '\xfd7zXZ\x00' "$1" | cut -d: -f1); do
        tail -c "+$((offset + 1))" "$1" | xz -dc > "$2" 2>/dev/null || true
        if is_elf "$2"; then return 0; fi
    done
    echo "prepare: no ELF kernel inside $1" >&2
    return 1
}

# Debian's kernel, its modules that the board needs (in load order), the
# headers to build ours, and busybox.
prepare_kernel() {
    echo "Preparing the board VM for kernel $abi-amd64 in $out" >&2
    rm -rf "$out"
    mkdir -p "$out/debs" "$out/modules"
    kbuild=$(apt-cache depends "linux-headers-$abi-amd64" |
        sed -n 's/^ *Depends: \(linux-kbuild-[^ ]*\)$/\1/p' | head -n 1)
    (
        cd "$out/debs"
        # As root apt would hand the download to its own user, who may not
        # write here.
        apt-get download -q -o APT::Sandbox::User=root "linux-image-$abi-amd64" \
            "linux-headers-$abi-amd64" "linux-headers-$abi-common" "$kbuild" busybox-static >&2
        for deb in *.deb; do dpkg-deb -x "$deb" "$root"; done
    )
    # The headers' Makefile includes the common headers by an absolute path.
    sed -i "s|^include /usr/src/|include $root/usr/src/|" "$headers/Makefile"
    extract_vmlinux "$root/boot/vmlinuz-$abi-amd64" "$out/vmlinux"
    cp "$root/bin/busybox" "$out/busybox"

    depmod -b "$root" "$abi-amd64"
    for module in $modules; do
        modprobe -d "$root" -S "$abi-amd64" --show-depends "$module"
    done | awk '$1 == "insmod" && !seen[$2]++ { print $2 }' | while read -r path; do
        name=$(basename "$path")
        cp "$path" "$out/modules/$name"
        case $name in
            nandsim.ko) echo "$name $nandsim_params" ;;
            *) echo "$name" ;;
        esac
    done > "$out/modules/load.list"
    # Only what the runs need stays: the rest of the modules and the packages go.
    rm -rf "$out/debs" "$root/lib" "$root/boot"
    echo "$modules $nandsim_params" > "$out/kernel-ready"
}

# Ours come last in the load order: the partitions on the NAND chip, then the
# dataflash after them. Rebuilt whenever their sources change.
prepare_own_modules() {
    sum=$(cat "$kmod_src"/* | md5sum | cut -d' ' -f1)
    [ -f "$out/modules.cpio" ] && [ "$(cat "$out/kmod.sum" 2>/dev/null)" = "$sum" ] && return 0
    rm -rf "$out/kmod" "$out/stage"
    cp -r "$kmod_src" "$out/kmod"
    # No BTF: it would need the kernel's vmlinux with its debug information.
    make -s -C "$headers" M="$out/kmod" CONFIG_DEBUG_INFO_BTF_MODULES= modules >&2
    mkdir -p "$out/stage/lib"
    cp -r "$out/modules" "$out/stage/lib/modules"
    for name in nand_parts.ko dataflash_sim.ko; do
        cp "$out/kmod/$name" "$out/stage/lib/modules/$name"
        echo "$name" >> "$out/stage/lib/modules/load.list"
    done
    (cd "$out/stage" && find . | LC_ALL=C sort | cpio -o -H newc --quiet) > "$out/modules.cpio"
    rm -rf "$out/stage"
    echo "$sum" > "$out/kmod.sum"
}

# A change of the module list prepares the kernel side anew.
[ "$(cat "$out/kernel-ready" 2>/dev/null)" = "$modules $nandsim_params" ] || prepare_kernel
prepare_own_modules
echo "$out"
