# Sourced by script/test: runs the unit tests of the debug build under valgrind's memcheck, which
# reports every block and every descriptor left at the end. The end-to-end tests are excluded: valgrind
# would not follow their daemon.

preset=debug
needs=(--valgrind)
targets=(test_{libcbase,libtavcore,libtavdb,gtwhandler,huelib,hue_handler,tools})
logs=build/debug/Testing/Temporary

# Under valgrind a program is thirty times as slow and uses one processor.
excluded=(
    end_to_end install
    gtwhandler.GtwDescriptors                        # limits of descriptors; valgrind has its own
    gtwhandler.GtwRequests.ASilentPeer               # measures how soon others are served
    hue_handler.HueHandlerTest.AMillionCommands      # takes minutes
    huelib.HostileJson.MoreValuesThanTheLargest
    huelib.KeptAnswers                               # the same; also measures the heap
    huelib.UPnP.IsDoneInTime
)
# A forked child exits with the memory of its parent, which is not a leak: it is not reported.
memcheck=(--leak-check=full --show-leak-kinds=all --num-callers=30 --track-fds=yes --vgdb=no
    --errors-for-leak-kinds=definite,indirect,possible,reachable --child-silent-after-fork=yes)
selection=(--exclude-regex "^(test_)?($(IFS='|' && echo "${excluded[*]}"))"
    -T memcheck --overwrite MemoryCheckCommand=/usr/bin/valgrind
    --overwrite "MemoryCheckCommandOptions=${memcheck[*]}"
    --overwrite "MemoryCheckSuppressionFile=$ROOT/tests/valgrind.supp")

prepare() {
    mkdir -p build/debug
    touch build/debug/DartConfiguration.tcl # ctest needs it, even empty
    rm -f "$logs"/MemoryChecker.*.log
    ulimit -S -n 1024 # valgrind's memory grows with this limit
}

# Prints the totals of all logs, and each log with an error, a leak or a descriptor that was not open at
# the start. The two sockets to the system log stay open until the process exits.
judge() {
    local log faulty=()
    for log in "$logs"/MemoryChecker.*.log; do
        sed -i 's/^==[0-9]*== \{0,1\}//' "$log"
        awk -v RS= '
            /ERROR SUMMARY: 0 errors/ { is_clean = 1 }
            /(^|\n)Open / && !/inherited from parent|openlog_internal|prepare_signal_log/ { is_open = 1 }
            END { exit is_clean && !is_open ? 0 : 1 }' "$log" || faulty+=("$log")
    done
    ((${#faulty[@]} == 0)) || cat "${faulty[@]}"
    say "Results of valgrind"
    awk '
        { gsub(",", "") }
        /^Command: / { ++tests }
        /^ERROR SUMMARY: / { errors += $3 }
        /total heap usage: / { allocated += $4; freed += $6 }
        /in use at exit: / { left += $8 }
        /^ *suppressed: .* blocks/ { known += $5 }
        END {
            printf "%d tests, %d errors\n", tests, errors
            printf "%d blocks allocated, %d freed, %d left, %d of these explained in " \
                "tests/valgrind.supp\n", allocated, freed, left, known
        }' "$logs"/MemoryChecker.*.log
    return $((${#faulty[@]} == 0 ? 0 : 1))
}
