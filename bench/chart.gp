# SPDX-License-Identifier: Zlib
# Draws two charts of one size and content from $table: Ormsel beside other libraries, and Ormsel's targets. A line of
# dots for each row, placed by the share of the limit, one colour for each participant. The table's columns are
# row, size, content and the participants. Called with a directory, the size and the content.
reset
rows = |$table| - 1
columns = words($table[1])
ours(i) = word($table[1], i)[1:6] eq 'ormsel'
first = 4
while (!ours(first)) { first = first + 1 }
peers = '' . first
targets = ''
do for [i=4:columns] {
    name = word($table[1], i)
    if (ours(i) || name eq 'SDL 1.2') { targets = targets . ' ' . i }
    if (!ours(i) && name ne 'limit') { peers = peers . ' ' . i }
}
set logscale x
set xrange [0.002:1.5]
set xtics (0.002, 0.005, 0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 1)
set xlabel 'share of the limit'
set yrange [0.5:rows + 0.5]
set ytics () noenhanced
do for [i=1:rows] { set ytics add (word($table[i + 1], 1) rows + 1 - i) }
set grid
set key outside bottom center horizontal noenhanced
do for [chart in "peers targets"] {
    shown = chart eq 'peers' ? peers : targets
    set title (chart eq 'peers' ? 'Ormsel and other libraries' : "Ormsel's targets and SDL 1.2") \
        . ', ' . ARG2 . ', ' . ARG3 . ' alpha' noenhanced
    do for [format in "svg png"] {
        if (format eq "svg") { set terminal svg background 'white' size 900, 170 + 22 * rows
        } else { set terminal pngcairo size 900, 170 + 22 * rows }
        set output ARG1 . '/' . chart . '-' . ARG2 . '-' . ARG3 . '.' . format
        plot for [i=1:words(shown)] $table using (column(int(word(shown, i)))):(rows - $0) skip 1 \
            with points pt (i == 1 ? 7 : 4 + i) ps (i == 1 ? 1.3 : 1) title word($table[1], int(word(shown, i)))
    }
}
unset output
