# shellcheck shell=bash
# Sourced by the scripts beside this folder. Everything said here goes to standard error, so that
# a script's standard output is that of the program it runs.

root=$(cd -P -- "$(dirname -- "${BASH_SOURCE[0]}")/../.." && pwd)

# configure PRESET: writes build/PRESET if it is not there yet. In CI warnings are errors.
configure() {
    local directory=$root/build/$1 options=() log
    if [[ ${CI:-} == true ]]; then
        options=(-DVANTRY_WERROR=ON)
        if [[ -f $directory/build.ninja ]] &&
            grep -q '^VANTRY_WERROR:BOOL=ON$' "$directory/CMakeCache.txt"; then
            return
        fi
    elif [[ -f $directory/build.ninja ]]; then
        return
    fi
    echo "Configuring build/$1" >&2
    mkdir -p "$root/build"
    log=$root/build/configure-$1.log
    if ! (cd "$root" && cmake --preset "$1" "${options[@]}") >"$log" 2>&1; then
        cat "$log" >&2
        return 1
    fi
}

# build PRESET [CMAKE OPTION...]: configures if need be, then brings the build up to date.
build() {
    local preset=$1 quiet=()
    shift
    configure "$preset"
    [[ -t 2 ]] || quiet=(-- --quiet)
    echo "Building build/$preset" >&2
    (cd "$root" && cmake --build --preset "$preset" "$@" "${quiet[@]}") >&2
}

# sources GLOB...: the C++ files of the project with these names, each ended by a zero byte.
sources() {
    local glob names=()
    for glob in "$@"; do
        names+=(-o -name "$glob")
    done
    (cd "$root" && find src selftests tests bench -type f \( "${names[@]:1}" \) -print0 | sort -z)
}
