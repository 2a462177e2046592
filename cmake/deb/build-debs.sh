#!/usr/bin/env bash
# Builds the Debian packages of phonecore for one architecture:
#   libphonecore0      the shared library
#   libphonecore-dev   headers, the .so link, pkg-config file, CMake package
#   phonecore-tools    phonectl, its bash completion and manual page
#
#   cmake/deb/build-debs.sh ARCH BUILD_DIR OUT_DIR [CMAKE_OPTION...]
#
# ARCH is amd64 or armhf (armhf through cmake/toolchain-armhf.cmake; its
# manual page is taken from OUT_DIR/phonectl.1, which the amd64 run leaves,
# since the cross-built tool can't run here). Depends come from
# dpkg-shlibdeps. The symbols file is made from abi/phonecore.exports and
# checked against the built library with dpkg-gensymbols -c4: an export
# that the library lost, or one it has beyond the list, fails the build.
# Every package is checked with lintian; an error fails the build.
set -euo pipefail
umask 022
arch=$1 build=$2 out=$3
shift 3
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
mkdir -p "$out"
out=$(cd "$out" && pwd)

version=$(sed -n 's/^project(phonecore VERSION \([0-9.]*\).*/\1/p' "$top/CMakeLists.txt")
soversion=${version%%.*}
debver=$version-1
triplet=$(dpkg-architecture -a"$arch" -qDEB_HOST_MULTIARCH 2>/dev/null)
maintainer="phonecore developers <firmware@phonecore.example.org>"
# Dates in the packages come from the last commit, so that two runs give
# the same files.
export SOURCE_DATE_EPOCH=$(git -C "$top" log -1 --format=%ct 2>/dev/null || date +%s)

case $arch in
  amd64) strip=strip ;;
  armhf) strip=arm-linux-gnueabihf-strip ;;
  *) echo "build-debs: unknown architecture $arch" >&2; exit 2 ;;
esac

echo "== build for $arch in $build"
cmake -S "$top" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_INSTALL_PREFIX=/usr \
  -DCMAKE_INSTALL_LIBDIR="lib/$triplet" -DPHONECORE_TESTS=OFF -DPHONECORE_SIM=OFF "$@" >/dev/null
cmake --build "$build" -j "${PHONECORE_JOBS:-2}" >/dev/null
stage=$out/stage-$arch
rm -rf "$stage"
DESTDIR=$stage cmake --install "$build" >/dev/null
libdir=usr/lib/$triplet
real=$stage/$libdir/libphonecore.so.$version
[ -f "$real" ] || { echo "build-debs: no $libdir/libphonecore.so.$version in the installed tree" >&2; exit 1; }
soname=$(objdump -p "$real" | awk '$1 == "SONAME" {print $2}')
[ "$soname" = "libphonecore.so.$soversion" ] || { echo "build-debs: SONAME $soname, want libphonecore.so.$soversion" >&2; exit 1; }

man=$build/tools/phonectl/phonectl.1
[ -f "$man" ] || man=$out/phonectl.1
[ -f "$man" ] || { echo "build-debs: no manual page (build amd64 first, with help2man)" >&2; exit 1; }
[ "$arch" = amd64 ] && cp "$build/tools/phonectl/phonectl.1" "$out/phonectl.1"

work=$out/work-$arch
rm -rf "$work"
mkdir -p "$work/debian"
lib_pkg=$work/libphonecore$soversion dev_pkg=$work/libphonecore-dev tools_pkg=$work/phonecore-tools

# The tools want a debian/ folder beside them, as in a source package.
cat >"$work/debian/control" <<CONTROL
Source: phonecore
Maintainer: $maintainer

Package: libphonecore$soversion
Architecture: any

Package: libphonecore-dev
Architecture: any

Package: phonecore-tools
Architecture: any
CONTROL
cat >"$work/debian/changelog" <<CHANGES
phonecore ($debver) unstable; urgency=medium

  * The library, its development files and phonectl as Debian packages.

 -- $maintainer  $(date -u -R -d "@$SOURCE_DATE_EPOCH")
CHANGES

docs() {  # docs PACKAGE_DIR NAME
  local d=$1/usr/share/doc/$2
  mkdir -p "$d"
  cp "$top/cmake/deb/copyright" "$d/copyright"
  gzip -9n <"$work/debian/changelog" >"$d/changelog.Debian.gz"
}
control() {  # control PACKAGE_DIR NAME SECTION DEPENDS MULTIARCH DESCRIPTION...
  local dir=$1 name=$2 section=$3 depends=$4 multiarch=$5
  shift 5
  mkdir -p "$dir/DEBIAN"
  {
    echo "Package: $name"
    echo "Source: phonecore"
    echo "Version: $debver"
    echo "Architecture: $arch"
    echo "Maintainer: $maintainer"
    echo "Installed-Size: $(du -sk --exclude=DEBIAN "$dir" | cut -f1)"
    [ -n "$depends" ] && echo "Depends: $depends"
    echo "Section: $section"
    echo "Priority: optional"
    [ -n "$multiarch" ] && echo "Multi-Arch: $multiarch"
    printf '%s\n' "$@"
  } >"$dir/DEBIAN/control"
}
# For a foreign architecture the libraries that the packaged files link
# are not installed here (multiarch would want the very versions of the
# host's packages); dpkg-shlibdeps learns their packages and versions from
# the Debian packages themselves, unpacked with their control files.
deps_of_foreign=(libc6 libstdc++6 libgcc-s1 libjson-c5 libcurl4 libmxml1)
foreign=()
if [ "$arch" != "$(dpkg --print-architecture)" ]; then
  deps=$out/deps-$arch
  if [ "$(cat "$deps/.packages" 2>/dev/null)" != "${deps_of_foreign[*]}" ]; then
    rm -rf "$deps"
    mkdir -p "$deps/debs"
    (cd "$deps/debs" && apt-get download "${deps_of_foreign[@]/%/:$arch}" >/dev/null 2>&1) || {
      echo "build-debs: can't download the $arch libraries (dpkg --add-architecture $arch; apt-get update)" >&2
      exit 1
    }
    for deb in "$deps"/debs/*.deb; do dpkg-deb -R "$deb" "$deps/$(dpkg-deb -f "$deb" Package)"; done
    rm -rf "$deps/debs"
    echo "${deps_of_foreign[*]}" >"$deps/.packages"
  fi
  for d in "$deps"/*/; do foreign+=(-S"${d%/}"); done
fi
shlibdeps() {  # shlibdeps FILE...: the Depends that the files' libraries need
  (cd "$work" && DEB_HOST_ARCH=$arch dpkg-shlibdeps -O -S"$lib_pkg" "${foreign[@]}" -l"$lib_pkg/$libdir" "$@" \
     2>"$work/shlibdeps.err") |
    sed -n 's/^shlibs:Depends=//p'
}

echo "== libphonecore$soversion"
mkdir -p "$lib_pkg/$libdir"
cp -a "$stage/$libdir"/libphonecore.so.* "$lib_pkg/$libdir/"
$strip --strip-unneeded --remove-section=.comment --remove-section=.note "$lib_pkg/$libdir/libphonecore.so.$version"
chmod 0644 "$lib_pkg/$libdir/libphonecore.so.$version"
docs "$lib_pkg" "libphonecore$soversion"
mkdir -p "$lib_pkg/DEBIAN"
echo "libphonecore $soversion libphonecore$soversion (>= $version)" >"$lib_pkg/DEBIAN/shlibs"
echo "activate-noawait ldconfig" >"$lib_pkg/DEBIAN/triggers"
{
  echo "libphonecore.so.$soversion libphonecore$soversion #MINVER#"
  echo " PHONECORE_$soversion@PHONECORE_$soversion $version"
  grep -v '^[[:space:]]*$' "$top/abi/phonecore.exports" | sort | sed "s/.*/ &@PHONECORE_$soversion $version/"
} >"$work/symbols.expected"
(cd "$work" && dpkg-gensymbols -c4 -q -plibphonecore$soversion -P"$lib_pkg" -v"$debver" -a"$arch" \
   -e"$lib_pkg/$libdir/libphonecore.so.$version" -I"$work/symbols.expected" -O"$lib_pkg/DEBIAN/symbols") || {
  echo "build-debs: the library's exports differ from abi/phonecore.exports (see the diff above)" >&2
  exit 1
}
lib_depends=$(shlibdeps "$lib_pkg/$libdir/libphonecore.so.$version")
[ -n "$lib_depends" ] || { cat "$work/shlibdeps.err" >&2; exit 1; }
control "$lib_pkg" "libphonecore$soversion" libs "$lib_depends" same \
  "Description: common client library of a SIP desk phone's firmware" \
  " The processes of the phone (user interface, web pages, provisioning," \
  " small agents) link it for one C interface to the phone's message bus," \
  " the SIP call process, the configuration store, the dial plan, keys and" \
  " the board, and for the logic they share."

echo "== libphonecore-dev"
mkdir -p "$dev_pkg/usr/include" "$dev_pkg/$libdir"
cp -a "$stage/usr/include/phonecore" "$dev_pkg/usr/include/"
cp -a "$stage/$libdir/libphonecore.so" "$stage/$libdir/pkgconfig" "$stage/$libdir/cmake" "$dev_pkg/$libdir/"
docs "$dev_pkg" libphonecore-dev
control "$dev_pkg" libphonecore-dev libdevel \
  "libphonecore$soversion (= $debver), libjson-c-dev, libcurl4-openssl-dev | libcurl-dev, libmxml-dev" same \
  "Description: common client library of a SIP desk phone's firmware - development files" \
  " Headers (one per family, usable from C and C++), the link to the shared" \
  " library, the pkg-config file phonecore.pc and the CMake package" \
  " (find_package(phonecore), target phonecore::phonecore)."

echo "== phonecore-tools"
mkdir -p "$tools_pkg/usr/bin" "$tools_pkg/usr/share/man/man1" "$tools_pkg/usr/share/bash-completion/completions"
cp "$stage/usr/bin/phonectl" "$tools_pkg/usr/bin/"
$strip --strip-unneeded --remove-section=.comment --remove-section=.note "$tools_pkg/usr/bin/phonectl"
cp "$stage/usr/share/bash-completion/completions/phonectl" "$tools_pkg/usr/share/bash-completion/completions/"
gzip -9n <"$man" >"$tools_pkg/usr/share/man/man1/phonectl.1.gz"
docs "$tools_pkg" phonecore-tools
tools_depends=$(shlibdeps "$tools_pkg/usr/bin/phonectl")
[ -n "$tools_depends" ] || { cat "$work/shlibdeps.err" >&2; exit 1; }
control "$tools_pkg" phonecore-tools utils "$tools_depends" "" \
  "Description: command-line tool of the SIP desk phone's client library" \
  " phonectl reaches every family of libphonecore from a shell: the message" \
  " bus, calls, accounts, line keys, configuration files, volume, the dial" \
  " plan and dial rules, hot keys, MD5 digests, the time zone and pinyin."

echo "== packages"
debs=()
for dir in "$lib_pkg" "$dev_pkg" "$tools_pkg"; do
  name=$(basename "$dir")
  find "$dir" -type d -exec chmod 0755 {} +
  deb=$out/${name}_${debver}_${arch}.deb
  dpkg-deb --root-owner-group -Zxz --build "$dir" "$deb" >/dev/null
  debs+=("$deb")
  echo "$deb: Depends: $(dpkg-deb -f "$deb" Depends)"
done

echo "== lintian"
lintian_out=$out/lintian-$arch.txt
lintian --tag-display-limit 0 "${debs[@]}" >"$lintian_out" 2>&1 || true
cat "$lintian_out"
if grep -q '^E:' "$lintian_out"; then
  echo "build-debs: lintian reports errors" >&2
  exit 1
fi
echo "lintian: no errors ($(grep -c '^W:' "$lintian_out" || true) warnings)"
