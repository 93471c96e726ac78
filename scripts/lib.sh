# shellcheck shell=bash
# Shared by the scripts of this folder: sourced, never run.
set -euo pipefail

plc_root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.." && pwd -P)
plc_self=$(basename -- "$0")

# One line on standard error and out. die MESSAGE [EXIT CODE]
die() {
    printf '%s: %s\n' "$plc_self" "$1" >&2
    exit "${2:-1}"
}

# The comment at the top of the calling script is its manual.
show_help() {
    sed -n '2,/^$/s/^# \{0,1\}//p' "$0"
}

# For scripts without arguments.
only_help() {
    case "${1:-}" in
    "") ;;
    -h | --help)
        show_help
        exit 0
        ;;
    *) die "unknown argument '$1' (see $plc_self --help)" 2 ;;
    esac
}

job_count() {
    nproc 2>/dev/null || echo 2
}

# True when build folder $1 was configured from this checkout and no preset has changed since.
is_configured() {
    [ -f "$1/build.ninja" ] && [ "$1/build.ninja" -nt "$plc_root/CMakePresets.json" ] &&
        grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$plc_root" "$1/CMakeCache.txt"
}

# What was compiled once with the same flags is not compiled again, in whichever build folder.
use_ccache() {
    ! command -v ccache >/dev/null 2>&1 || export CMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER-ccache}
}

# configure FOLDER CMAKE-ARGUMENTS...: configures build/FOLDER unless that is done. Ninja notices changed CMake lists.
configure() {
    local folder=$plc_root/build/$1
    shift
    is_configured "$folder" && return 0
    use_ccache
    (cd "$plc_root" && cmake --fresh "$@") >&2
}

# build FOLDER [TARGET...]: compiles build/FOLDER, or some targets of it.
build() {
    local folder=$plc_root/build/$1
    shift
    local targets=()
    [ $# -eq 0 ] || targets=(--target "$@")
    cmake --build "$folder" -j "$(job_count)" "${targets[@]}" >&2
}

# Files of the checkout that git tracks or would offer to track and that match the patterns, one a line.
own_files() {
    git -C "$plc_root" -c core.quotePath=false ls-files --cached --others --exclude-standard -- "$@" | sort -u | while IFS= read -r file; do
        [ ! -f "$plc_root/$file" ] || printf '%s\n' "$file"
    done
}
