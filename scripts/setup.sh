# shellcheck shell=bash
# What scripts set up before they start a launcher: a build, a Wine session, an installation tree.
# Sourced in the project's folder.

build_target() { # preset, targets...
    cmake --preset "$1" >/dev/null
    cmake --build --preset "$1" --target "${@:2}" -- --quiet
}

# Runs the script again in a Wine session, unless it is in one.
enter_wine_session() { # script, arguments...
    [[ -n ${ZQ_WINE_SESSION-} ]] || exec scripts/wine-session "$@"
}

# An installation with one version of tools and one of frameworks, both current.
make_tree() { # tree, version of the tools, of the framework
    rm -rf "$1"
    mkdir -p "$1/tools/$2" "$1/frameworks/$3"/{bin,plugins}
    ln -s "$2" "$1/tools/current"
    ln -s "$3" "$1/frameworks/current"
}

install_tool() { # tree, executable, name
    mkdir -p "$1/tools/current/$3"
    cp "$2" "$1/tools/current/$3/$3.exe"
}

windows_path() { # absolute path
    printf '%s' "Z:${1//\//\\}"
}
