#pragma once

#include <QDate>
#include <QString>

/**
 * The two forms of a release date: stored ("2010-07-16", as TMDb gives it)
 * and shown ("Jul 16, 2010", in English whatever the machine's locale,
 * because the text also goes into tags).
 */
namespace ReleaseDate {

/** "2010-07-16" -> the date; invalid when the text is not such a date. */
QDate fromStored(const QString &text);
QString storedText(const QDate &date);
/** "Jul 16, 2010"; empty for an invalid date. */
QString displayText(const QDate &date);
/** The display text of a stored text; empty unless it is a real 10-character date. */
QString displayTextOf(const QString &stored);

} // namespace ReleaseDate
