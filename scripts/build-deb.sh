#!/bin/sh
# SPDX-License-Identifier: MIT
# Builds the Debian packages into build/deb/ with Debian's own tools: the
# source package and the binary package for this machine, then the binary
# package for armhf, cross-built with the toolchain that `make arm` uses; and
# checks each with lintian. Needs the packages that `make deps` installs.
set -eu
cd "$(dirname "$0")/.."

version=$(sed -n 's/^project(firmpack-update VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)
out=build/deb
tree=$out/firmpack-update-$version
rm -rf "$out"
mkdir -p "$tree"
# The files of the repository as they are now, without any build tree.
git ls-files -z | xargs -0 cp --parents -t "$tree"

(cd "$tree" && dpkg-buildpackage -us -uc)
# The armhf -dev packages cannot sit beside the host's: the cross build finds
# the armhf runtime libraries through the toolchain file instead, so the
# build dependencies are not checked for armhf.
(cd "$tree" && dpkg-buildpackage -us -uc -B -a armhf -d)

for changes in "$out"/*.changes; do
    echo "lintian $(basename "$changes"):"
    lintian --info --display-info "$changes" || exit 1
done
ls -l "$out"/*.deb
