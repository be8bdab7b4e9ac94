#pragma once

#include "base/MovieItemKeys.h"

#include <QDate>
#include <QStringList>

#include <optional>

/** The conversions of the metadata editor between the item's stored forms and the fields' forms. */
namespace MetadataEditing {

/** "A\nB\nC" -> "A, B, C": the first five names. */
QString listForm(const QString &stored);
/** "A, B" -> "A\nB". */
QString storedListForm(const QString &field);

/** The rating choices in order: "NR", "G", "PG", "PG-13", "R", "NC-17", "Unrated", "None". */
QStringList ratingLabels();
/** The rating string and badge name of a choice; nothing for a text that is not a choice. */
std::optional<std::pair<QString, QString>> ratingForLabel(const QString &label);
/** The choice whose rating string is `rating` ("" gives "None"); nothing when none matches. */
std::optional<QString> labelForRating(const QString &rating);

/** "2010-07-16" -> the date; invalid when the text is not such a date. */
QDate storedDate(const QString &text);
/** The stored form and the display form ("Jul 16, 2010") of a date. */
std::pair<QString, QString> dateTexts(const QDate &date);

/** The batch edit of one item: genre and language set when their texts are not empty. */
MovieItem batchEdited(MovieItem item, const QString &genre, const QString &language);

} // namespace MetadataEditing
