# Draws the two pictures of docs/performance.md; script/lib/plot.sh sets the variables.
set terminal svg size 800,400 font "sans-serif,14" background "white"
set border 3
set tics nomirror
set grid ytics lc rgb "#dddddd"
set style line 1 lc rgb "#0b5394" lw 3 pt 7 ps 0.6
set style line 2 lc rgb "#666666" lw 2 dt 2
set style line 3 lc rgb "#b00020" lw 2
set key left top Left reverse
set yrange [0:*]

set output folder."/performance-daemons.svg"
set multiplot layout 1,2 title "Daemons on one machine, each with a bridge of 5 lights" font ",16"
set xlabel "daemons"
set ylabel "memory of all, MiB"
plot data."/daemons" using 1:($1*$2/1024) with linespoints ls 1 title "lumivad", \
    broker_kib/1024.0 with lines ls 2 title "one mosquitto, idle"
set ylabel "CPU of all, percent of one processor"
plot data."/daemons" using 1:($1*$3/600) with linespoints ls 1 title "lumivad", \
    broker_cpu/600.0 with lines ls 2 title "one mosquitto, idle"
unset multiplot

set output folder."/performance-latency.svg"
set title "Command latency: from the core's answer to the request at the bridge" font ",16"
set xlabel "latency, ms"
set ylabel "share of the commands, percent"
set xrange [0:1.1*limit<*]
set yrange [0:100]
set arrow from limit, graph 0 to limit, graph 1 nohead ls 3
set label sprintf("limit: %g ms ", limit) at limit, 10 right textcolor ls 3
stats data."/commands" nooutput
plot data."/commands" using 1:(100.0/STATS_records) smooth cumulative with steps ls 1 \
        title "lumivad", \
    data."/thread" using 1:(100.0/STATS_records) smooth cumulative with steps ls 2 \
        title "a thread that looks every 100 ms"
