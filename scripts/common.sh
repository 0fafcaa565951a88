# What ./run, ./test and the scripts beside this file share. The caller has set $here, the top folder.

build_packages="cmake ninja-build g++ ccache qt6-base-dev qt6-serialport-dev libgl-dev libqcustomplot-dev"
program_packages="qt6-translations-l10n fonts-dejavu-core libqt6sql6-sqlite"
test_packages="dbus-daemon"
bench_packages="python3-serial qt6-charts-dev libqt6opengl6-dev" # the peers that are measured beside us
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

# logs_folder: where this user looks for the logs of runs from a checkout, which are not to lie among the sources.
logs_folder()
{
    documents=$(xdg-user-dir DOCUMENTS 2>/dev/null || true)
    [ -d "$documents" ] || documents=$HOME
    echo "$documents/Voltaire"
}

# progress: reads the output of a build and says how far it is: in one line on a terminal, else every tenth of the way.
progress()
{
    tenth=0
    while read -r line; do
        case $line in
        "["[0-9]*/[0-9]*"] "*) ;;
        *) continue ;;
        esac
        steps=${line%%]*}
        steps=${steps#[}
        done=${steps%/*}
        all=${steps#*/}
        if [ -t 1 ]; then
            printf '\r   step %s of %s' "$done" "$all"
            [ "$done" -lt "$all" ] || printf '\r\033[K'
        elif [ "$all" -ge 20 ] && [ $((10 * done / all)) -gt "$tenth" ]; then
            tenth=$((10 * done / all))
            echo "   ${tenth}0 %"
        fi
    done
}

# build PRESET TARGET...: configures and builds; quiet but for how far it is, unless it fails.
build()
{
    preset=$1
    shift
    log=$here/build/$preset.log
    mkdir -p "$here/build"
    echo "== building, $preset (the first time takes a minute or two)"
    rm -f "$log.done"
    { cd "$here" && cmake --preset "$preset" && cmake --build --preset "$preset" --target "$@" && touch "$log.done"; } 2>&1 |
        tee "$log" | progress
    if [ ! -e "$log.done" ]; then
        [ ! -t 1 ] || echo
        tail -n 60 "$log" >&2
        echo "The build failed; all of its output is in $log" >&2
        exit 1
    fi
    rm -f "$log.done"
}
