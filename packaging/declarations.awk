# SPDX-License-Identifier: MIT
#
# Sorts the variables that a function of the QML compiler's code declares. It writes
# them in the order of their addresses in its memory, which is another one each time.
function flush(   i, j, line) {
    for (i = 2; i <= n; i++) {
        line = lines[i]
        for (j = i - 1; j > 0 && lines[j] > line; j--) lines[j + 1] = lines[j]
        lines[j + 1] = line
    }
    for (i = 1; i <= n; i++) print lines[i]
    n = 0
}
/^[A-Za-z][A-Za-z0-9_:<>*, ]*[ *]r[0-9]+_[0-9]+;$/ { lines[++n] = $0; next }
{ flush(); print }
END { flush() }
