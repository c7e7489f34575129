# A row for each conversion, a mark for each size of picture: on the left the share of memcpy, on the right how many
# times as fast as the fastest peer. Reads the first table of the measured part of docs/performance.md.
set terminal svg size 1000,500 font "sans,12" background rgb "white"
set output output
set datafile separator "|"
set datafile missing " – "
set multiplot title machine noenhanced
set tmargin at screen 0.86
set bmargin at screen 0.2

stats table skip 2 using 3 nooutput
set yrange [STATS_records - 0.5:-0.5]
set grid
set ytics noenhanced
set arrow from 1, graph 0 to 1, graph 1 nohead
array sizes[3] = ["640 × 480", "1920 × 1080", "4096 × 4096"]
array shapes[3] = [7, 5, 9]

set lmargin at screen 0.34
set rmargin at screen 0.64
set title "share of memcpy"
set xrange [0:*]
set key at screen 0.66, screen 0.12 vertical samplen 1
plot for [i = 1:3] table skip 2 using (column(i + 2)):0:ytic(2) with points pt shapes[i] title sizes[i]

set lmargin at screen 0.67
set rmargin at screen 0.97
set title "times the fastest peer"
set logscale x 2
set xrange [0.5:*]
set format y ""
plot for [i = 1:3] table skip 2 using (column(i + 5)):0 with points pt shapes[i] notitle
