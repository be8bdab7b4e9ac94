#pragma once

#include "base/MovieItemKeys.h"

#include <QStringList>


/** The conversions of the metadata editor between the item's stored forms and the fields' forms. */
namespace MetadataEditing {

/** "A\nB\nC" -> "A, B, C": the first five names. */
QString listForm(const QString &stored);
/** "A, B" -> "A\nB". */
QString storedListForm(const QString &field);

/** The batch edit of one item: genre and language set when their texts are not empty. */
MovieItem batchEdited(MovieItem item, const QString &genre, const QString &language);

} // namespace MetadataEditing
