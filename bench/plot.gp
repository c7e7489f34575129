# One cluster of bars for each family, one bar for each size; the line at 1 is the limit or the peer.
set terminal svg size 1000,420 dynamic font "sans,12"
set output output
set datafile separator "\t"
set title title
set style data histograms
set style fill solid 0.8 border -1
set key outside top right autotitle columnhead
set xtics rotate by -30 noenhanced
set yrange [0:*]
set grid ytics
plot for [i=2:4] data using i:xtic(1), 1 notitle with lines lc "black"
