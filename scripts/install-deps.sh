#!/bin/sh
# Installs the missing Debian packages listed in scripts/debian-packages.
# Safe to run any number of times: with everything present it changes nothing.
# A package named with an architecture (libfdt1:armhf) makes that architecture
# known to dpkg first, so that the package lists fetched next include it.
# SPDX-License-Identifier: MIT
set -eu

list="$(dirname "$0")/debian-packages"
missing=""
for package in $(grep -v '^#' "$list"); do
    status=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
    case "$status" in
        *"install ok installed") ;;
        *) missing="$missing $package" ;;
    esac
done
[ -z "$missing" ] && exit 0

if [ "$(id -u)" -eq 0 ]; then sudo=""; else sudo="sudo"; fi
native=$(dpkg --print-architecture)
for arch in $(printf '%s\n' $missing | sed -n 's/^[^:]*://p' | sort -u); do
    if [ "$arch" != "$native" ] && ! dpkg --print-foreign-architectures | grep -qx "$arch"; then
        echo "Adding the Debian architecture $arch"
        $sudo dpkg --add-architecture "$arch"
    fi
done

echo "Installing Debian packages:$missing"
# A list that fails to arrive (a mirror caught mid-sync) leaves the older one or
# none: the install below then says whether what it needs is there.
$sudo apt-get update -q || echo "Some package lists were not refreshed; installing from those at hand"
# A library of two architectures (libssl3 and libssl3:armhf) must be of one
# version, and the security suite may carry a newer one for one architecture
# only: the packages come from the release itself, where both have the same.
release=$(. /etc/os-release && echo "$VERSION_CODENAME")
$sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends \
    -t "$release" $missing
