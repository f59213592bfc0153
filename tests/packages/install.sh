#!/usr/bin/env bash
# Makes the packages of a build tree, unpacks them into a folder as a system has them, and uses
# their content: the bundle, copied as a user does, under the virtual deck; the deck's page;
# velomar-state; and the library, found by CMake.
#
#   install.sh BUILD_FOLDER SOURCE_FOLDER
set -euo pipefail
build=$1
source=$2
place=$(mktemp -d)
trap 'exec 3>&- || true; wait; rm -rf "$place"' EXIT
fail() { echo "$*" >&2; cat "$place/log" >&2 || true; exit 1; }

cpack --config "$build/CPackConfig.cmake" -B "$place/made" >/dev/null
for package in "$place"/made/*.deb; do
  dpkg-deb -x "$package" "$place/root"
done
dpkg-deb -f "$place"/made/velomar_*.deb Depends | grep -q libc6 || fail "no dependency on the C library"

cp -r "$place/root/usr/lib/velomar/com.brackenmoor.velomar.sdPlugin" "$place"
for scratch in images layouts; do
  [ -d "$place/com.brackenmoor.velomar.sdPlugin/$scratch" ] || fail "no folder $scratch"
done
mkfifo "$place/commands"
"$place/root/usr/bin/velomar-deck" "$place/com.brackenmoor.velomar.sdPlugin" \
  <"$place/commands" >"$place/log" 2>&1 &
deck=$!
exec 3>"$place/commands"

# seen TEXT waits until the deck has printed the text.
seen() {
  for _ in $(seq 300); do
    ! grep -qF -e "$1" "$place/log" || return 0
    kill -0 $deck 2>/dev/null || break
    sleep 0.1
  done
  fail "the deck hasn't printed $1"
}
seen '"event":"registerPlugin"'

port=$(sed -nE 's|.*http://127.0.0.1:([0-9]+)/.*|\1|p' "$place/log" | head -1)
exec 4<>"/dev/tcp/127.0.0.1/$port"
printf 'GET / HTTP/1.1\r\nHost: 127.0.0.1:%s\r\nConnection: close\r\n\r\n' "$port" >&4
timeout 20 head -c 15 <&4 | grep -q '^HTTP/1.1 200 OK' || fail "no page"
exec 4>&-

# It ends with 1, since no simulator's side is there.
"$place/com.brackenmoor.velomar.sdPlugin/velomar-state" >"$place/state" || true
grep -q ToXPlane "$place/state" || fail "velomar-state shows no store"

"$place/root/usr/bin/velomar-bridge" check "$place"/root/usr/share/velomar/panels/*.yaml ||
  fail "the bridge doesn't take its own panels"

cmake -S "$source/examples/first-key" -B "$place/example" \
  -DCMAKE_PREFIX_PATH="$place/root/usr" >/dev/null || fail "the library isn't found"

echo quit >&3
wait $deck || fail "the deck ended with an error"
