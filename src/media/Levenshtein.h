#pragma once

#include <QList>
#include <QString>

/** Edit distance between two texts, compared as UTF-16 code units (case matters). */
class Levenshtein
{
public:
    Levenshtein() = delete;

    /** The distance table: `cols` x `rows` cells, row-major, all 0 when made. */
    class Array2D
    {
    public:
        Array2D(qint64 cols, qint64 rows);
        qint64 get(qint64 col, qint64 row) const { return matrix.at(cols * row + col); }
        void set(qint64 col, qint64 row, qint64 value) { matrix[cols * row + col] = value; }

        qint64 cols;
        qint64 rows;
        QList<qint64> matrix;
    };

    /** Characters compared of each text; a longer text adds one edit per further character. */
    static constexpr qint64 MaxComparedLength = 1024;

    /**
     * Insertions, deletions and substitutions, each costing 1. Memory grows
     * with one text's length, never with the product of both.
     */
    static qint64 getDistanceBetweenStrings(const QString &a, const QString &b);
    static qint64 distance(const QString &a, const QString &b) { return getDistanceBetweenStrings(a, b); }
};
