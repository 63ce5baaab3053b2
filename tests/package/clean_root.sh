#!/usr/bin/env bash
# Installs packages into a Debian system that holds nothing else, as a user would, and uses them there.
# usage: clean_root.sh DIR      the packages are DIR/*.deb; the system is gone when this ends
set -euo pipefail
packages=$(realpath "$1")
here=$(dirname "$(realpath "${BASH_SOURCE[0]}")")
source_dir=$(realpath "$here/../..")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Where this machine itself has Debian from.
apt-get indextargets --format 'deb $(REPO_URI) $(RELEASE) $(COMPONENT)' 'Identifier: Packages' 'Origin: Debian' |
    sort -u >"$work/sources.list"
if [ ! -s "$work/sources.list" ]; then
    echo "apt knows no Debian archive here; apt-get update may help" >&2
    exit 1
fi
apt-config dump | grep -i '^Acquire::[a-z]*::Proxy' >"$work/apt.conf" || true
codename=$(. /etc/os-release && echo "$VERSION_CODENAME")

mkdir "$work/orka"
cp "$packages"/*.deb "$here/use.sh" "$source_dir/tests/header/program.c" "$work/orka"
awk '/^```c$/ {on = 1; next} /^```$/ {on = 0} on' "$source_dir/README.md" >"$work/orka/first.c"

# Not below a directory that others cannot enter: apt reads packages as another user.
chmod 755 "$work" "$work/orka"
mmdebstrap --quiet --variant=apt --format=null \
    --aptopt="$work/apt.conf" --customize-hook="copy-in '$work/orka' /srv" \
    --customize-hook='chroot "$1" sh /srv/orka/use.sh' \
    "$codename" /dev/null "$work/sources.list"
