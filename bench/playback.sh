#!/usr/bin/env bash
# Playback on the virtual board beside FFmpeg's decoding of the same clip: frames a second, and their ratio.
#
#   bench/playback.sh [BUILD] [CLIP...]
#
# BUILD is a build folder, build/host by default. Without clips, forty seconds of FFmpeg's test source are
# used, as MPEG-4 720x480 and as H.264 1280x720. Both sides decode on one thread and make the same UYVY
# pictures; both are timed from the program's start to its end; their runs alternate, and the best of each
# counts. The goal is a ratio of 0.95. A machine that does other work at the same time shows less.
set -euo pipefail
. "$(dirname "$0")/table.sh"

build=$(realpath "${1:-$(dirname "$0")/../build/host}")
shift || true
runs=${RUNS:-5}
goal=0.95
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

make_clip() { # NAME SIZE CODEC...
    local name=$1 size=$2
    shift 2
    ffmpeg -v error -y -f lavfi -i "testsrc2=size=$size:rate=30000/1001:duration=40" \
        -c:v "$@" "$scratch/$name"
    echo "$scratch/$name"
}

seconds_of() { # COMMAND...: from its start to its end
    local begin end
    begin=$(date +%s%N)
    "$@" >"$scratch/out"
    end=$(date +%s%N)
    awk -v ns=$((end - begin)) 'BEGIN { printf "%.4f\n", ns / 1e9 }'
}

smaller() { awk -v a="$1" -v b="$2" 'BEGIN { print (a < b ? a : b) }'; }

measure() { # CLIP
    local clip=$1 frames ratio board=1e9 ffmpeg=1e9
    for _ in $(seq "$runs"); do
        board=$(smaller "$board" "$(seconds_of "$build/orka-board" run -- \
            "$build/orka-play" --no-audio "$clip")")
        frames=$(sed -n 's/^picture: .* in, \([0-9]*\) frames out.*/\1/p' "$scratch/out")
        ffmpeg=$(smaller "$ffmpeg" "$(seconds_of ffmpeg -v error -threads 1 -i "$clip" -an \
            -vf scale=flags=neighbor,format=uyvy422 -f null -)")
    done
    ratio=$(awk -v board="$board" -v ffmpeg="$ffmpeg" 'BEGIN {printf "%.3f", ffmpeg / board}')
    awk -v clip="$(basename "$clip")" -v board="$board" -v ffmpeg="$ffmpeg" -v frames="$frames" -v ratio="$ratio" 'BEGIN {
        printf "%-16s %5d frames  board %8.1f frames/s  ffmpeg %8.1f frames/s  ratio %.2f", clip, frames,
               frames / board, frames / ffmpeg, ratio }'
    echo "  goal $goal $(verdict "$ratio" at_least "$goal")"
    row "playback of $(basename "$clip") over ffmpeg's" "$ratio" "$goal" "$(verdict "$ratio" at_least "$goal")"
}

if [ $# = 0 ]; then
    set -- "$(make_clip mpeg4_480.avi 720x480 mpeg4 -q:v 3)" \
        "$(make_clip h264_720.mp4 1280x720 libx264 -preset fast -pix_fmt yuv420p)"
fi
for clip; do
    measure "$clip"
done
