#!/usr/bin/env bash
# Builds the amd64 packages, unpacks them into an empty root (dpkg -x, no
# installation), and builds the README's C example against that root twice,
# with pkg-config and with the README's CMake lines (find_package), then
# runs both in a phone box against the unpacked library.
#   package_test.sh SOURCE_DIR BUILD_DIR WORK_DIR
set -euo pipefail
top=$1 build=$2 work=$3
rm -rf "$work"
mkdir -p "$work"
"$top/cmake/deb/build-debs.sh" amd64 "$work/build-deb-amd64" "$work/debs" >"$work/build-debs.log" 2>&1 || {
  cat "$work/build-debs.log" >&2
  exit 1
}
root=$work/root
mkdir -p "$root"
for p in libphonecore0 libphonecore-dev phonecore-tools; do
  dpkg -x "$work/debs/${p}_"*"_amd64.deb" "$root"
done
libdir=$root/usr/lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)
[ -L "$libdir/libphonecore.so" ] && [ -f "$root/usr/include/phonecore/phonecore.h" ] && [ -x "$root/usr/bin/phonectl" ] ||
  { echo "the unpacked root lacks a file" >&2; exit 1; }

# The README's first C block and its CMake block, as a reader copies them.
awk '/^```c$/ {on = 1; next} on && /^```$/ {exit} on' "$top/README.md" >"$work/phone.c"
grep -q request_pc_connect "$work/phone.c" || { echo "no C example in the README" >&2; exit 1; }
mkdir -p "$work/cmake-src"
cp "$work/phone.c" "$work/cmake-src/"
{
  echo "cmake_minimum_required(VERSION 3.25)"
  echo "project(phone C)"
  awk '/^```cmake$/ {on = 1; next} on && /^```$/ {exit} on' "$top/README.md"
} >"$work/cmake-src/CMakeLists.txt"
grep -q 'find_package(phonecore' "$work/cmake-src/CMakeLists.txt" || { echo "no CMake lines in the README" >&2; exit 1; }

# With pkg-config: the README's command line, the root's .pc file.
export PKG_CONFIG_PATH=$libdir/pkgconfig
(cd "$work" && cc phone.c -o phone-pc $(pkg-config --cflags --libs phonecore json-c))
# With CMake: find_package(phonecore) in the root.
cmake -S "$work/cmake-src" -B "$work/cmake-build" -DCMAKE_PREFIX_PATH="$root/usr" >/dev/null
cmake --build "$work/cmake-build" >/dev/null

for program in "$work/phone-pc" "$work/cmake-build/my_process"; do
  # The program takes the library of the unpacked root, no other.
  loaded=$(LD_LIBRARY_PATH=$libdir ldd "$program")
  grep -qF "libphonecore.so.0 => $libdir/" <<<"$loaded" ||
    { echo "$program does not load the packaged library" >&2; exit 1; }
  # The example dials 1002 on account 1 through the packaged library; the
  # box's SIP process records the request it received.
  # A box whose peers did not come up (a loaded machine) is started again.
  for try in 1 2 3; do
    out=$("$top/box/phonebox" run --bin "$build/sim" -- \
          bash -c 'LD_LIBRARY_PATH="$1" "$2"; echo "exit status $?"; echo "== sip log"; pbctl sip log' _ "$libdir" \
          "$program" 2>&1) && break
    echo "box try $try: $out" >&2
  done
  # The library's trace of a slow answer ("time too long") ends in "\n\r":
  # the line after it starts with a carriage return.
  grep -qx "exit status 0" <<<"${out//$'\r'/}" || { echo "$program failed: $out" >&2; exit 1; }
  echo "$(basename "$program"): $out"
  grep -qF '"msgtype": "phone_dail", "data": { "dialAccId": 1, "phoneNumber": "1002" }' <<<"${out#*== sip log}" ||
    { echo "the SIP process never received the dial of $program" >&2; exit 1; }
done
# The packaged tool runs too.
LD_LIBRARY_PATH=$libdir "$root/usr/bin/phonectl" dial check '0x.' 0301234 >/dev/null
echo "packages unpacked, example built and run with pkg-config and with CMake"
