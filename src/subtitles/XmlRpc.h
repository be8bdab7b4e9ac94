#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <optional>

/**
 * XML-RPC text, made and read with xmlrpc-c. Values cross as QVariant:
 * QString, int/qint64, double, bool, QByteArray (base64), QVariantList
 * (array), QVariantMap (struct).
 */
namespace XmlRpc {

/** A methodCall document. A parameter typed double must be a QVariant of double. */
QByteArray call(const QString &method, const QVariantList &parameters);

/**
 * The answer's value; nothing for a fault, a malformed document, empty input,
 * or a document with a DOCTYPE or entity declarations (refused unread).
 */
std::optional<QVariant> parseResponse(const QByteArray &xml);

/** The method name and parameters of a methodCall (used by the stand-in service). */
bool parseCall(const QByteArray &xml, QString *method, QVariantList *parameters);
/** A methodResponse document carrying `value`. */
QByteArray response(const QVariant &value);
/** A fault methodResponse. */
QByteArray fault(int code, const QString &message);

} // namespace XmlRpc
