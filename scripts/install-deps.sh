#!/bin/sh
# Installs the missing Debian packages listed in scripts/debian-packages.
# Safe to run any number of times: with everything present it changes nothing.
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
echo "Installing Debian packages:$missing"
$sudo apt-get update -q
$sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends $missing
