#!/usr/bin/env bash
# Builds a private armhf sysroot for the cross-build from Debian's armhf
# packages: the -dev packages the library and its unit tests need, with
# everything they depend on, downloaded and unpacked (not installed), so
# that the host's own packages never have to match the armhf versions.
# The C library, libgcc and libstdc++ come from the cross toolchain.
#
#   cmake/armhf-sysroot.sh DIR
set -euo pipefail
dir=$1
want="libcurl4-openssl-dev:armhf libjson-c-dev:armhf libmxml-dev:armhf libgtest-dev:armhf"
stamp=$dir/.packages
if [ -f "$stamp" ] && [ "$(cat "$stamp")" = "$want" ]; then exit 0; fi

debs=$dir.debs
rm -rf "$dir" "$debs"
mkdir -p "$dir" "$debs"
closure=$(apt-cache depends --recurse --no-recommends --no-suggests --no-conflicts --no-breaks \
            --no-replaces --no-enhances $want 2>/dev/null |
          grep -E '^[a-z0-9]' | grep ':armhf$' | sort -u |
          grep -v -E '^(libc6|libc6-dev|libgcc-s1|libstdc\+\+6|gcc-[0-9]+-base|linux-libc-dev|libcrypt1|libcrypt-dev):')
(cd "$debs" && apt-get download $closure >/dev/null)
for deb in "$debs"/*.deb; do dpkg -x "$deb" "$dir"; done
rm -rf "$debs"
echo "$want" > "$stamp"
echo "armhf sysroot ready in $dir ($(echo $closure | wc -w) packages)"
