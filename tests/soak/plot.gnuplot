# The picture of a soak. scripts/soak.sh sets: samples, settled (files), heading (text), ends (commands), picture (file),
# days (number).
set terminal svg size 900,860 dynamic font "sans-serif,12" background "white"
set output picture
set datafile separator "\t"
set xrange [0:days]
set key bottom right
set border 3
set tics nomirror
eval ends
set multiplot layout 3,1 title heading font ",11" margins 0.08,0.97,0.09,0.85 spacing 0.1

set yrange [0:*]
set ylabel "KB"
plot samples using ($1/86400):4 title "memory written to, at any moment" with lines lw 3 lc rgb "#aaccee", \
     settled using 1:3 title "at the end of a round" with lines lw 1 lc rgb "#003366"

set ylabel "count"
plot settled using 1:5 title "threads" with lines lw 2 lc rgb "#aa3300", \
     settled using 1:6 title "files in /tmp" with lines lw 5 lc rgb "#aaddaa", \
     settled using 1:4 title "descriptors" with lines lw 1 lc rgb "#003366"

set ylabel "ms an hour"
set xlabel "days of the agent's time; a vertical line where a process has ended and the next one begins"
plot settled using 1:7 title "processor time" with lines lw 1 lc rgb "#003366"
unset multiplot
