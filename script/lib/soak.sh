# Sourced by script/soak: scripts of the house that load the daemon.

# load LIGHTS MINUTES SEED: bursts of random commands at twice the bridge's rate, with changes of the
# lights past the daemon; after each, the queue is carried out and a poll reports. The bridge restarts
# every few minutes, and once in a run of less than a minute. simulator/conversions.txt has every value.
load() {
    awk -v lights="$1" -v minutes="$2" -v seed="$3" '
        function pick(from, to) { return from + int(rand() * (to - from + 1)) }
        function one_of(list,    words) { return words[pick(1, split(list, words, " "))] }
        function wait(seconds) { print "wait", seconds; now += seconds }
        function roles_of(light) { return roles[1 + (light - 1) % 6] }  # the sample lights in turn
        function command(light,    role) {
            role = one_of(roles_of(light))
            print "set", 10000 + 10 * light + role, one_of(values[role])
            wait(role == 2 || role == 3 ? 0.1 : 0.05)  # the light is read first
        }
        function change(light) {
            if (rand() < 0.5) print "bulb", light, one_of("on off")
            else if (roles_of(light) ~ /4/) print "bulb", light, "hue", one_of("0 21845 43690"), "sat 254 bri 254"
            else print "bulb", light, "bri", one_of("2 25 127 200 254")
        }
        function restart() {
            print "bridge reset"; wait(pick(3, 9) / 10)
            print "bridge cut"; wait(pick(3, 9) / 10)
            print "bridge restore"
            next_restart = now + pick(120, 300)
        }
        BEGIN {
            srand(seed)
            split("1 2|1 2 3|1 2 4 5 6|1 2 3 4 5 6 7|1 2 3 4 5 6 7|1 2 3 4 5 6 7", roles, "|")
            split("0 1|0 1 2 10 25 50 75 100|0 1 10 25 50 100|1 254|1 254|1 254|" \
                  "#00FEFE #55FEFE #AAFEFE #5580C0", values, "|")
            end = minutes * 60
            next_restart = end < 60 ? 2 : 120
            next_sample = end < 600 ? end / 2 : 300
            print "house", lights, "lights\nstart"
            while (now < end) {
                length_of_burst = pick(2, end < 60 ? 4 : 15)
                for (stop = now + length_of_burst; now < stop;) {
                    if (now >= next_restart) restart()
                    if (rand() < 0.05) change(pick(1, lights))
                    command(pick(1, lights))
                }
                print "expect settled within 180\nexpect poll within 60"
                now += length_of_burst + 6
                if (now >= next_sample) { print "sample"; next_sample += 60 }
            }
            if (end >= 600) print "expect growth below 256"
        }'
}

# burst LIGHTS COMMANDS: sends them at once. Two hundred are carried out; the log has the number of
# those that QUIT discards.
burst() {
    printf '%s\n' "house $1 lights" start sample "ask $2" sample \
        "expect $(($2 < 200 ? $2 : 200)) done within 300" 'core quit' \
        'expect log requests dropped, the request manager thread has ended' 'expect settled' \
        'signal TERM' 'expect end exit 0'
}
