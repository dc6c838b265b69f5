# SPDX-License-Identifier: Zlib
# Sourced by run-tests and tools/compare-games, behind setup.sh: runs games on screens of their own.

# during_game GAME DEPTH MODE FOLDER COMMAND...: lets a game run on a screen of its own while a command runs, which
# finds the screen in DISPLAY. What the game drew with is told in FOLDER/report, every second, unless MODE is `off`.
during_game() {
    local game=$1 depth=$2 mode=$3 folder=$4 server program
    mkdir -p "$folder/home"
    # A server that resets itself between two connections of a game would turn the second one down.
    Xvfb -displayfd 3 -screen 0 "1024x768x$depth" -nolisten tcp -noreset 3> "$folder/screen" 2> /dev/null &
    server=$!
    for ((i = 0; i < 600; ++i)); do
        [[ -s $folder/screen ]] && break
        sleep 0.1
    done
    # Games stay in their folder of scores and settings.
    (
        cd "$folder/home"
        export DISPLAY=:$(< "$folder/screen") HOME=$PWD SDL_AUDIODRIVER=dummy PATH=$PATH:/usr/games
        # A set-group-id program is served without its group, and its scores stay where they are.
        options=("--$mode" --without-group)
        [[ $mode == off ]] || options+=(--report "$folder/report")
        exec "$root/build/release/dropin/ormsel-run" "${options[@]}" "$game"
    ) > "$folder/log" 2>&1 &
    program=$!
    DISPLAY=:$(< "$folder/screen") "${@:5}" || die "$game at depth $depth, $mode: not what $5 waits for"
    if kill "$program" 2> /dev/null; then
        # A game can ask whether it should end.
        for ((i = 0; i < 20; ++i)); do
            kill -0 "$program" 2> /dev/null || break
            sleep 0.1
        done
        kill -KILL "$program" 2> /dev/null || true
        wait "$program" 2> /dev/null || true # by the signal, or by SDL's word for it
    else
        cat "$folder/log" >&2
        die "$game at depth $depth, $mode: it has ended by itself"
    fi
    kill "$server" && wait "$server" || true
}

shoot() { import -window root "$1"; }

# still_picture FILE: takes a picture that the screen has shown ten times, once a second, in a row or now and again; gives
# up after two minutes.
still_picture() {
    local sum
    local -A seen=()
    for ((i = 0; i < 120; ++i)); do
        sleep 1
        shoot "$1"
        sum=$(cksum < "$1")
        seen[$sum]=$((${seen[$sum]:-0} + 1))
        if ((seen[$sum] >= 10)) && [[ $(identify -format %k "$1") -gt 16 ]]; then
            return
        fi
    done
    return 1
}

# picture_like WANTED FILE: takes pictures of the screen until one is the same, for two minutes.
picture_like() {
    for ((i = 0; i < 120; ++i)); do
        sleep 1
        shoot "$2"
        ! cmp -s "$1" "$2" || return 0
    done
    return 1
}
