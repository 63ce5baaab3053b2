#!/usr/bin/env bash
# clean_root.sh DIR: installs the packages in DIR into a Debian system that holds nothing else, and uses them.
set -euo pipefail

packages=$(printf '%s\n' "$(realpath "$1")"/*.deb | grep -v -e -dbgsym_ | paste -sd,)
hooks=/usr/share/mmdebstrap/hooks/file-mirror-automount

use=$(
    cat <<'SHELL'
set -e
cd /tmp
orka-board run -- orka-record --seconds 2 clip.avi
orka-board run -- orka-play --snapshot shot.png clip.avi | tee played
grep -q '^picture: 60 frames in, 60 frames out' played
test -s shot.png
orka-ctl list display >/dev/null
pkg-config --exists orka codecmap
for page in orka-board.1 orka-play.1 orka-record.1 orka-ctl.1; do
    test -s /usr/share/man/man1/$page.gz
done
SHELL
)

mmdebstrap --variant=apt --format=null --hook-dir="$hooks" --include="$packages,pkg-config" \
    --customize-hook="chroot \"\$1\" sh -c '${use//\'/\'\\\'\'}'" bookworm /dev/null
echo "The packages work in a clean root"
