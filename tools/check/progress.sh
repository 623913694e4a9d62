#!/usr/bin/env bash
# For sourcing: builds a preset with the progress in view.

# A build that fails must not be hidden by what shows its progress.
set -o pipefail

# build PRESET [TARGET…] configures and builds; on a terminal as one line that grows, else a line each tenth. What the
# tools said is shown when they fail. TOLVIK_CMAKE_ARGUMENTS holds more arguments to configure with.
build() {
    local preset=$1 log=build/$1.log began=$SECONDS arguments=() more=()
    shift
    read -r -a more <<<"${TOLVIK_CMAKE_ARGUMENTS:-}"
    [ $# -eq 0 ] || arguments=(--target "$@")
    mkdir -p build
    echo "Building ($preset)"
    if ! cmake --preset "$preset" "${more[@]}" >"$log" 2>&1; then
        tail -n 40 "$log" >&2
        return 1
    fi
    if ! NINJA_STATUS='[%f/%t] ' cmake --build --preset "$preset" "${arguments[@]}" 2>&1 | tee -a "$log" | steps; then
        grep -vE '^\[[0-9]+/[0-9]+\] (Building|Linking|Automatic|Generating|Running)' "$log" | tail -n 60 >&2
        echo "The build failed; everything it said stands in $log" >&2
        return 1
    fi
    echo "  built in $((SECONDS - began)) s"
}

# Shows ninja's "[done/all]" lines.
steps() {
    local line finished all last=-1
    while IFS= read -r line; do
        [[ $line =~ ^\[([0-9]+)/([0-9]+)\]\ (.*) ]] || continue
        finished=${BASH_REMATCH[1]} all=${BASH_REMATCH[2]}
        if [ -t 1 ]; then
            printf '\r  %s of %s  %-60.60s' "$finished" "$all" "${BASH_REMATCH[3]##*/}"
        elif [ $((finished * 10 / all)) != "$last" ]; then
            printf '  %s of %s\n' "$finished" "$all"
            last=$((finished * 10 / all))
        fi
    done
    [ ! -t 1 ] || printf '\r%80s\r' ''
}
