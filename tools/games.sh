# SPDX-License-Identifier: Zlib
# Sourced by run-tests and tools/compare-games, behind setup.sh: runs games on screens of their own.

# screenshots GAME DEPTH MODE FOLDER: lets a game run on a screen of its own, which shows its title by then, and
# takes two pictures of it, some time apart. (A server that resets itself between two connections of a game would
# turn the second one down.)
screenshots() {
    local game=$1 depth=$2 mode=$3 folder=$4 screen=$4/screen server program picture
    mkdir -p "$folder/home"
    Xvfb -displayfd 3 -screen 0 "1024x768x$depth" -nolisten tcp -noreset 3> "$screen" 2> /dev/null &
    server=$!
    for ((i = 0; i < 200; ++i)); do
        [[ -s $screen ]] && break
        sleep 0.1
    done
    # Games stay in their folder of scores and settings.
    (
        cd "$folder/home"
        export DISPLAY=:$(< "$screen") HOME=$PWD SDL_AUDIODRIVER=dummy PATH=$PATH:/usr/games
        exec "$root/build/release/dropin/ormsel-run" "--$mode" --report "$folder/report" "$game"
    ) > "$folder/log" 2>&1 &
    program=$!
    for picture in first second; do
        sleep "${seconds:-10}"
        DISPLAY=:$(< "$screen") import -window root "$folder/$picture.png"
    done
    if kill "$program" 2> /dev/null; then
        wait "$program" || true # by the signal, or by SDL's word for it
    else
        cat "$folder/log" >&2
        die "$game at depth $depth, $mode: it has ended by itself"
    fi
    kill "$server" && wait "$server" || true
}
