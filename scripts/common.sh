# What ./run, ./test and the scripts beside this file share. The caller has set $here, the top folder.

build_packages="cmake ninja-build g++ ccache qt6-base-dev qt6-serialport-dev libgl-dev libqcustomplot-dev"
program_packages="qt6-translations-l10n fonts-dejavu-core libqt6sql6-sqlite"
test_packages="dbus-daemon"
lint_packages="clang-format-19 clang-tidy-19"

# need PACKAGE...: installs the Debian packages that are missing, as root or with sudo.
need()
{
    missing=""
    for package in "$@"; do
        status=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
        [ "$status" = installed ] || missing="$missing $package"
    done
    [ -z "$missing" ] && return
    as_root=""
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || { echo "Please install as root:$missing" >&2; exit 1; }
        as_root=sudo
        echo "These packages are missing and are installed with sudo:$missing"
    else
        echo "Installing:$missing"
    fi
    $as_root env DEBIAN_FRONTEND=noninteractive apt-get update -qq
    # shellcheck disable=SC2086 # one word a package
    $as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $missing >/dev/null
}

# build PRESET TARGET...: configures and builds; quiet unless it fails.
build()
{
    preset=$1
    shift
    log=$here/build/$preset.log
    mkdir -p "$here/build"
    echo "== building, $preset (the first time takes a minute or two)"
    if ! (cd "$here" && cmake --preset "$preset" && cmake --build --preset "$preset" --target "$@") >"$log" 2>&1; then
        tail -n 60 "$log" >&2
        echo "The build failed; all of its output is in $log" >&2
        exit 1
    fi
}
