#!/bin/sh
# Prepares the kernel side of the board VM from Debian's packages, once per
# kernel ABI and architecture:
#   armhf  the board's own: Debian's armmp kernel (the zImage, booted by
#          qemu-system-arm -M virt), and the ARM userland the guest runs:
#          busybox, dash, mtd-utils and the C library.
#   amd64  a PC: Debian's amd64 kernel as an uncompressed vmlinux (QEMU boots
#          it through its PVH entry, twice as fast as the bzImage under TCG)
#          and busybox; dash and mtd-utils are the host's own.
# Both with the modules the board needs and our own two, built against the
# matching headers with this machine's kbuild of the headers' version.
# Packages are fetched with apt-get download and unpacked with dpkg-deb -x, so
# nothing is installed and no install script runs.
#
# Usage: prepare.sh <cache dir> <our module sources> [amd64|armhf]
# Prints the prepared directory: the kernel (vmlinux or zImage), modules.cpio
# (the modules and their load order, lib/modules/load.list), busybox, and for
# armhf root/ with the userland.
# SPDX-License-Identifier: MIT
set -eu

cache=$1
kmod_src=$(cd "$2" && pwd)
arch=${3:-amd64}

# Modules of the board in load order: NAND simulator, UBI, then the
# compressors that UBIFS cannot initialise without (a dependency modprobe
# cannot see: zstd, and on armmp deflate, built in on amd64), then UBIFS; on
# ARM the virtio transport and serial ports that carry the results.
case $arch in
    amd64)
        flavour=amd64 qualifier=
        modules="nandsim ubi zstd ubifs"
        make_cross=
        ;;
    armhf)
        flavour=armmp qualifier=:armhf
        modules="nandsim ubi zstd deflate ubifs virtio_mmio virtio_console"
        make_cross="ARCH=arm CROSS_COMPILE=arm-linux-gnueabihf-"
        ;;
    *)
        echo "prepare: no board for architecture $arch (amd64 or armhf)" >&2
        exit 2
        ;;
esac
# NAND chip of 128 MiB with 2 KiB pages and 128 KiB erase blocks.
nandsim_params="id_bytes=0xec,0xa1,0x00,0x15"
# The ARM userland beside busybox: the shell, the utilities the tool runs and
# the C library they and the tool load.
ARM_USERLAND="dash mtd-utils libc6"
host_arch=$(dpkg --print-architecture)

as_root() {
    if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

# The version apt would fetch of a package, empty when the lists have none.
candidate() {
    apt-cache policy "$1" 2> /dev/null | sed -n 's/^  Candidate: \([^(].*\)$/\1/p'
}

# The kernel ABIs to try, newest first. The archive replaces the ABI package
# on kernel updates, so the ABI is read from the meta-package, and names the
# cache entry; then come the older ones of its series that the lists know,
# for a mirror that lacks the newest for a while.
abi_names() {
    named=$(apt-cache depends "linux-image-$flavour$qualifier" 2> /dev/null |
        sed -n "s/^ *Depends: linux-image-\([0-9][^ :]*\)-$flavour\(:$arch\)\{0,1\}\$/\1/p" |
        head -n 1)
    [ -z "$named" ] || echo "$named"
    # <upstream version>-<ABI number>, of the named one's upstream version.
    series='[0-9][0-9.]*'
    [ -z "$named" ] || series=$(echo "${named%-*}" | sed 's/\./\\./g')
    apt-cache pkgnames linux-headers- 2> /dev/null |
        sed -n "s/^linux-headers-\($series-[0-9][0-9]*\)-$flavour\(:$arch\)\{0,1\}\$/\1/p" |
        sort -V -r | grep -vx "$named" || true
}

# The kbuild package the headers of an ABI depend on (linux-kbuild-6.1), for
# this machine's architecture.
kbuild_of() {
    apt-cache depends "linux-headers-$1-$flavour$qualifier" 2> /dev/null |
        sed -n "s/^ *Depends: \(linux-kbuild-[^ :]*\).*\$/\1:$host_arch/p" | head -n 1
}

# An ABI can be prepared when its image, its headers and this machine's kbuild
# of the headers' version are all in the lists.
available() {
    [ -n "$(candidate "linux-image-$1-$flavour$qualifier")" ] || return 1
    version=$(candidate "linux-headers-$1-$flavour$qualifier")
    [ -n "$version" ] || return 1
    apt-cache madison "$(kbuild_of "$1")" 2> /dev/null | grep -q "| *$version *|"
}

# Reading the package lists takes seconds: the chosen ABI is kept until they
# change. Prepared ABIs stay in the cache, one folder each.
mkdir -p "$cache"
cache=$(cd "$cache" && pwd)
known_abi=$cache/abi-$flavour
lists=/var/lib/apt/lists
# A change of the module list prepares the kernel side anew.
ready_mark() {
    echo "$modules $nandsim_params"
}
is_ready() {
    [ "$(cat "$cache/$1-$flavour/kernel-ready" 2> /dev/null)" = "$(ready_mark)" ]
}

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

# fetch_kernel <abi>: the packages of that kernel, the headers to build ours
# and the userland, into <cache>/<abi>-<flavour>/debs; fails when the mirror
# does not have them all.
fetch_kernel() {
    out=$cache/$1-$flavour
    echo "Preparing the $arch board VM for kernel $1-$flavour in $out" >&2
    rm -rf "$out"
    mkdir -p "$out/debs" || return 1
    version=$(candidate "linux-headers-$1-$flavour$qualifier")
    userland=busybox-static$qualifier
    [ "$arch" = amd64 ] || for package in $ARM_USERLAND; do
        userland="$userland $package$qualifier"
    done
    # As root apt would hand the download to its own user, who may not write
    # here.
    # shellcheck disable=SC2086 # $userland is several packages
    (cd "$out/debs" && apt-get download -q -o APT::Sandbox::User=root \
        "linux-image-$1-$flavour$qualifier" "linux-headers-$1-$flavour$qualifier" \
        "linux-headers-$1-common" "$(kbuild_of "$1")=$version" $userland >&2) && return 0
    rm -rf "$out"
    return 1
}

# prepare_kernel <abi>: from the fetched packages, Debian's kernel, its
# modules that the board needs (in load order), the headers to build ours and
# the userland.
prepare_kernel() {
    out=$cache/$1-$flavour
    root=$out/root
    mkdir -p "$out/modules"
    for deb in "$out"/debs/*.deb; do dpkg-deb -x "$deb" "$root"; done
    headers=$root/usr/src/linux-headers-$1-$flavour
    # The headers' Makefile includes the common headers by an absolute path.
    sed -i "s|^include /usr/src/|include $root/usr/src/|" "$headers/Makefile"
    if [ "$arch" = amd64 ]; then
        extract_vmlinux "$root/boot/vmlinuz-$1-$flavour" "$out/vmlinux"
    else
        cp "$root/boot/vmlinuz-$1-$flavour" "$out/zImage"
    fi
    cp "$root/bin/busybox" "$out/busybox"

    depmod -b "$root" "$1-$flavour"
    for module in $modules; do
        modprobe -d "$root" -S "$1-$flavour" --show-depends "$module"
    done | awk '$1 == "insmod" && !seen[$2]++ { print $2 }' | while read -r path; do
        name=$(basename "$path")
        cp "$path" "$out/modules/$name"
        case $name in
            nandsim.ko) echo "$name $nandsim_params" ;;
            *) echo "$name" ;;
        esac
    done > "$out/modules/load.list"
    # Only what the runs need stays: the rest of the modules, the device trees
    # and the packages go.
    rm -rf "$out/debs" "$root/lib/modules" "$root/boot" "$root/usr/lib/linux-image-$1-$flavour"
    ready_mark > "$out/kernel-ready"
}

if [ -s "$known_abi" ] && [ -z "$(find "$lists" -newer "$known_abi" 2> /dev/null | head -n 1)" ] &&
    is_ready "$(cat "$known_abi")"; then
    abi=$(cat "$known_abi")
else
    names=$(abi_names)
    if [ -z "$names" ]; then
        as_root apt-get update -q >&2
        names=$(abi_names)
    fi
    abi=
    for name in $names; do
        if is_ready "$name"; then
            abi=$name
            break
        fi
        if available "$name" && fetch_kernel "$name"; then
            abi=$name
            prepare_kernel "$abi"
            break
        fi
        echo "prepare: kernel $name-$flavour is missing from the mirror; trying an older one" >&2
    done
    if [ -z "$abi" ]; then
        echo "prepare: the package lists have no linux-image-*-$flavour$qualifier with its" \
            "headers and a linux-kbuild of their version for $host_arch" >&2
        exit 1
    fi
    echo "$abi" > "$known_abi"
fi
out=$cache/$abi-$flavour
headers=$out/root/usr/src/linux-headers-$abi-$flavour

# Ours come last in the load order: the partitions on the NAND chip, then the
# dataflash after them. Rebuilt whenever their sources change.
prepare_own_modules() {
    sum=$(cat "$kmod_src"/* | md5sum | cut -d' ' -f1)
    [ -f "$out/modules.cpio" ] && [ "$(cat "$out/kmod.sum" 2>/dev/null)" = "$sum" ] && return 0
    rm -rf "$out/kmod" "$out/stage"
    cp -r "$kmod_src" "$out/kmod"
    # No BTF: it would need the kernel's vmlinux with its debug information.
    # shellcheck disable=SC2086 # $make_cross is two settings or none
    make -s -C "$headers" M="$out/kmod" $make_cross CONFIG_DEBUG_INFO_BTF_MODULES= modules >&2
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

prepare_own_modules
echo "$out"
