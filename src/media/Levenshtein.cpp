#include "media/Levenshtein.h"

#include <algorithm>

Levenshtein::Array2D::Array2D(qint64 cols, qint64 rows)
    : cols(cols)
    , rows(rows)
    , matrix(cols * rows, 0)
{
}

qint64 Levenshtein::getDistanceBetweenStrings(const QString &a, const QString &b)
{
    // Titles are short; a service's answer may not be. Past the bound, each extra character counts as one edit.
    const qint64 n = std::min<qint64>(a.size(), MaxComparedLength);
    const qint64 m = std::min<qint64>(b.size(), MaxComparedLength);
    const qint64 beyond = (a.size() - n) + (b.size() - m);
    if (n == 0)
        return m + beyond;
    if (m == 0)
        return n + beyond;
    // Two rows of the table are enough: row j only reads row j - 1.
    Array2D rows(n + 1, 2);
    for (qint64 i = 0; i <= n; ++i)
        rows.set(i, 0, i);
    for (qint64 j = 1; j <= m; ++j) {
        const qint64 current = j % 2;
        const qint64 previous = 1 - current;
        rows.set(0, current, j);
        for (qint64 i = 1; i <= n; ++i) {
            const qint64 substitution = rows.get(i - 1, previous) + (a.at(i - 1) == b.at(j - 1) ? 0 : 1);
            rows.set(i, current, std::min({rows.get(i - 1, current) + 1, rows.get(i, previous) + 1, substitution}));
        }
    }
    return rows.get(n, m % 2) + beyond;
}
