# shellcheck shell=bash
# What scripts share that run tools under Wine and print a table of what came of it.
# Sourced in the project's folder.

wine=$PWD/scripts/wine
faults=0

row() { # tool, case, outcome, what is expected
    local verdict=''
    [[ $3 == "$4" ]] || { verdict=" (expected: $4)" faults=$((faults + 1)); }
    echo "| $1 | $2 | $3$verdict |"
}

# The last line that a command prints, and its exit status.
outcome() { # command...
    local output status=0
    output=$("$@" 2>&1 </dev/null) || status=$?
    echo "$(tail -n 1 <<<"$output" | tr -d '\r'), status $status"
}

await() { # command
    local tries
    for ((tries = 0; tries < 100; ++tries)); do
        ! eval "$1" || return 0
        sleep 0.2
    done
    echo "waited in vain: $1" >&2
    return 1
}

service_value() { # STATE, WIN32_EXIT_CODE: the number that the service manager shows
    "$wine" sc query zqScriptService | tr -d '\r' | awk -v name="$1" '$1 == name { print $3 }'
}

# Runs a launcher as a service, has the manager stop it, and prints the exit code that it reports. A
# tool that is killed is reported as 0.
code_of_stopped_service() { # its command line, a command that succeeds as soon as the tool is ready
    "$wine" sc delete zqScriptService >/dev/null 2>&1 || true # what an aborted run has left
    "$wine" sc create zqScriptService type= own start= demand binPath= "$1" >/dev/null
    "$wine" sc start zqScriptService >/dev/null
    await "[[ \$(service_value STATE) == 4 ]] && ${2:-true}" # running
    "$wine" sc stop zqScriptService >/dev/null
    await '[[ $(service_value STATE) == 1 ]]' # stopped
    echo "exit code $(service_value WIN32_EXIT_CODE)"
    "$wine" sc delete zqScriptService >/dev/null
}
