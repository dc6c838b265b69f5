# SPDX-License-Identifier: Zlib
# Draws FILE.svg and FILE.png from $table: a line of dots for each row, placed by the share of the limit, in one
# colour for each participant. The first three columns are row, size and content. Called with FILE and TITLE.
reset
rows = |$table| - 1
participants = words($table[1]) - 3
participant(i) = word($table[1], i + 3)
set title ARG2 noenhanced
set logscale x
set xrange [0.002:1.5]
set xtics (0.002, 0.005, 0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 1)
set xlabel 'share of the limit'
set yrange [0.5:rows + 0.5]
set ytics () noenhanced
do for [i=1:rows] { set ytics add (word($table[i + 1], 1) rows + 1 - i) }
set grid
set key outside bottom center horizontal noenhanced
do for [format in "svg png"] {
    if (format eq "svg") { set terminal svg background 'white' size 900, 170 + 22 * rows
    } else { set terminal pngcairo size 900, 170 + 22 * rows }
    set output ARG1 . '.' . format
    plot for [i=1:participants] $table using (column(i + 3)):(rows + 1 - $0) skip 1 \
        with points pt (i == 1 ? 7 : 4 + i) ps (i == 1 ? 1.3 : 1) title participant(i)
}
unset output
