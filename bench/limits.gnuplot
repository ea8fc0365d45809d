# Draws what script/bench limits has measured: the file `table` into the file `drawing`, with the
# service's `limit` of memory in MB.

set terminal svg size 1000,900 font "sans-serif,13" background rgb "white"
set output drawing
set datafile separator comma
set datafile columnheaders
# So that the lines of a growth go over the rows of the others.
set datafile missing NaN
set logscale xy
set grid
set key top left Left reverse
set format x "10^{%T}"

counted = "meters registers messages models nulls"
sized = "text broken objects"
colours = "#0072b2 #d55e00 #009e73 #cc79a7 #e69f00"
isRow(growth, log) = strcol("growth") eq growth && strcol("log") eq log
sizeOf(growth, log) = isRow(growth, log) ? column("size") : NaN
memory = "column('own_kB') / 1024.0"
processor = "column('cpu_seconds')"

solid(growths, figure) = sprintf("for [i=1:words('%s')] table \
    using (sizeOf(word('%s', i), 'quiet')):(%s) with linespoints lw 2 pt i ps 0.6 \
    lc rgb word(colours, i) title word('%s', i)", growths, growths, figure, growths)
dashed(growths, figure) = sprintf("for [i=1:words('%s')] table \
    using (sizeOf(word('%s', i), 'default')):(%s) with lines lw 1.5 dt 3 \
    lc rgb word(colours, i) notitle", growths, growths, figure)
draw(growths, figure) = "plot " . solid(growths, figure) . ", " . dashed(growths, figure)
of_service = ", limit with lines lw 2 lc rgb 'red' notitle"

set multiplot layout 2,2 title "What a poll costs. Dashed: with a log at its own severities"

set ylabel "memory of its own, MB"
set yrange [1:500]
set samples 2
set label 1 sprintf("the service's limit of %d MB", limit) at graph 0.03, first limit * 1.2 left
set xlabel "number"
set xrange [1:1e5]
eval draw(counted, memory) . of_service
set xlabel "bytes of a reply"
set xrange [1e3:1e8]
eval draw(sized, memory) . of_service
unset label 1

set ylabel "processor time, seconds"
set yrange [0.0005:20]
set xlabel "number"
set xrange [1:1e5]
eval draw(counted, processor)
set xlabel "bytes of a reply"
set xrange [1e3:1e8]
eval draw(sized, processor)

unset multiplot
