# Shared by the scripts in this folder; sourced, not run.
# shellcheck shell=bash

project=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# install_packages [LIST]: installs what scripts/packages.txt, or that list beside it, names and the machine lacks.
install_packages() {
    local list=${1:-packages.txt} missing=() package
    while read -r package; do
        [ -n "$package" ] || continue
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
    done < "$project/scripts/$list"
    [ "${#missing[@]}" -gt 0 ] || return 0

    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || {
            echo "These packages are missing, and installing them needs root or sudo: ${missing[*]}" >&2
            return 1
        }
        as_root=(sudo)
    fi
    echo "Installing: ${missing[*]}"
    "${as_root[@]}" apt-get update -qq
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
}

# build_preset NAME [options of cmake --build...]
build_preset() {
    local preset=$1 log="$project/build/configure-$1.log"
    shift
    mkdir -p "$project/build"
    (cd "$project" && cmake --preset "$preset") > "$log" 2>&1 || {
        cat "$log" >&2
        return 1
    }
    (cd "$project" && cmake --build --preset "$preset" "$@")
}
