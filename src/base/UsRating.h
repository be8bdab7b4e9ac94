#pragma once

#include <QString>
#include <QStringList>

#include <optional>

/**
 * The US ratings a movie item can carry: the label a person sees ("PG-13"),
 * the rating string written into the tags ("mpaa|PG-13|300|") and the name
 * of its badge image. "None" is the editor's choice for no rating.
 */
namespace UsRating {

struct Rating
{
    QString label;
    QString rating;
    QString badge;
};

/** The editor's choices in order: "NR", "G", "PG", "PG-13", "R", "NC-17", "Unrated", "None". */
QStringList labels();
/** The rating of a label (a choice of labels()); nothing for any other text. */
std::optional<Rating> forLabel(const QString &label);
/** The choice whose rating string is @p rating ("" gives "None"); nothing when none matches. */
std::optional<QString> labelFor(const QString &rating);
/**
 * The rating string and badge of a TMDb US certification: "" and "blank"
 * for a certification that is not one of the seven (the empty one included).
 */
std::pair<QString, QString> forCertification(const QString &certification);

} // namespace UsRating
