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
    const qint64 n = a.size();
    const qint64 m = b.size();
    if (n == 0)
        return m;
    if (m == 0)
        return n;

    Array2D table(n + 1, m + 1);
    for (qint64 i = 1; i <= n; ++i)
        table.set(i, 0, i);
    for (qint64 j = 1; j <= m; ++j)
        table.set(0, j, j);
    for (qint64 i = 1; i <= n; ++i) {
        for (qint64 j = 1; j <= m; ++j) {
            if (a.at(i - 1) == b.at(j - 1))
                table.set(i, j, table.get(i - 1, j - 1));
            else
                table.set(i, j,
                          std::min({table.get(i - 1, j) + 1, table.get(i, j - 1) + 1, table.get(i - 1, j - 1) + 1}));
        }
    }
    return table.get(n, m);
}
