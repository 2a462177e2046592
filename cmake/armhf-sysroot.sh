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

fail() { echo "armhf-sysroot: $*" >&2; exit 1; }

# apt knows armhf packages only where armhf is a foreign architecture of
# dpkg and the package lists were read since (./run cross sees to both).
dpkg --print-foreign-architectures | grep -qx armhf ||
  fail "armhf is not an architecture of dpkg here (dpkg --add-architecture armhf; apt-get update)"
missing=
for p in $want; do
  apt-cache show "$p" >/dev/null 2>&1 || missing="$missing $p"
done
[ -z "$missing" ] || fail "apt knows no package$missing (apt-get update after adding armhf?)"

debs=$dir.debs
rm -rf "$dir" "$debs"
mkdir -p "$dir" "$debs"
# Every package the wanted ones need, but those the cross toolchain brings.
closure=$(apt-cache depends --recurse --no-recommends --no-suggests --no-conflicts --no-breaks \
            --no-replaces --no-enhances $want |
          { grep -E '^[a-z0-9]' || true; } | { grep ':armhf$' || true; } | sort -u |
          { grep -v -E '^(libc6|libc6-dev|libgcc-s1|libstdc\+\+6|gcc-[0-9]+-base|linux-libc-dev|libcrypt1|libcrypt-dev):' || true; }) ||
  fail "apt-cache depends failed for $want"
[ -n "$closure" ] || fail "apt-cache found no armhf packages for $want"
(cd "$debs" && apt-get download $closure >/dev/null) || fail "apt-get download of the armhf packages failed"
for deb in "$debs"/*.deb; do dpkg -x "$deb" "$dir"; done
rm -rf "$debs"
echo "$want" > "$stamp"
echo "armhf sysroot ready in $dir ($(echo $closure | wc -w) packages)"
