# Sourced by script/test: the unit tests in the debug build under valgrind's memcheck, which reports
# every block that is left at the end, and every descriptor. Not the end-to-end tests, whose daemon it
# would not follow.

preset=debug
needs=(--valgrind)
targets=(test_{libcbase,libtavcore,libtavdb,gtwhandler,huelib,hue_handler,tools})
logs=build/debug/Testing/Temporary

# Under valgrind a program is thirty times as slow, and has one processor.
left_out=(
    bench end_to_end install
    gtwhandler.GtwDescriptors                        # limits of descriptors; it keeps its own
    gtwhandler.GtwRequests.ASilentPeerDelaysNobody   # measures how soon the others are served
    hue_handler.HueHandlerTest.AMillionCommands      # a million of anything takes minutes
    huelib.HostileJson.MoreValuesThanTheLargest
    huelib.KeptAnswers                               # the same, and measures the heap
    huelib.UPnP.IsDoneInTime
)
# A forked child ends with all that its parent has, which is no leak: it is left alone.
memcheck=(--leak-check=full --show-leak-kinds=all --num-callers=30 --track-fds=yes --vgdb=no
    --errors-for-leak-kinds=definite,indirect,possible,reachable --child-silent-after-fork=yes)
selection=(--exclude-regex "^(test_)?($(IFS='|' && echo "${left_out[*]}"))"
    -T memcheck --overwrite MemoryCheckCommand=/usr/bin/valgrind
    --overwrite "MemoryCheckCommandOptions=${memcheck[*]}"
    --overwrite "MemoryCheckSuppressionFile=$ROOT/tests/valgrind.supp")

prepare() {
    mkdir -p build/debug
    touch build/debug/DartConfiguration.tcl # ctest asks for it, be it empty
    rm -f "$logs"/MemoryChecker.*.log
    ulimit -S -n 1024 # valgrind keeps a note for each that there may be
}

# Prints the sums of all logs, and the whole of each that has an error, a leak or a descriptor that
# was not there at the start. The two sockets to the system log live as long as the process.
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
    say "Found by valgrind"
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
