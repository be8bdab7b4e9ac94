#pragma once

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>
#include <QStringView>

#include <optional>

/**
 * A forgiving read-only view of a JSON value, for reading answers from the
 * outside world (probe reports, web service answers).
 *
 * Looking up a missing member or an out-of-range index gives a null value,
 * and further lookups on null give null again; nothing ever fails.
 *  - text(): a string gives itself, a number its decimal text, anything else "".
 *  - integer(): a number gives its integer part, a string that parses as a
 *    decimal number gives that number's integer part, anything else 0.
 *  - real(): as integer(), as a double.
 *  - optionalInteger(): only a number gives a value.
 *  - count(): elements of an array or members of an object, else 0.
 *  - operator==(text) holds only for a string value equal to the text;
 *    isNull() holds for null and for a missing member.
 */
class Json
{
public:
    Json() = default;
    explicit Json(const QJsonValue &value, bool exists = true) : m_value(value), m_exists(exists) {}
    explicit Json(const QJsonDocument &document);

    /** Parses bytes; anything that does not parse is a null value. */
    static Json parse(const QByteArray &bytes);

    Json operator[](QStringView member) const;
    Json operator[](const char *member) const { return (*this)[QString::fromLatin1(member)]; }
    Json operator[](qsizetype index) const;
    Json operator[](int index) const { return (*this)[qsizetype(index)]; }

    bool isNull() const { return m_value.isNull() || m_value.isUndefined(); }
    bool exists() const { return m_exists && !m_value.isUndefined(); }
    /** True when `member` is present in this object, whatever its value. */
    bool has(const QString &member) const;
    bool isString() const { return m_value.isString(); }
    bool isNumber() const { return m_value.isDouble(); }
    bool isArray() const { return m_value.isArray(); }
    bool isObject() const { return m_value.isObject(); }
    bool isBool() const { return m_value.isBool(); }

    QString text() const;
    qint64 integer() const;
    double real() const;
    std::optional<qint64> optionalInteger() const;
    bool boolean() const { return m_value.toBool(); }
    qsizetype count() const;

    bool operator==(const QString &literal) const { return m_value.isString() && m_value.toString() == literal; }
    bool operator==(const char *literal) const { return *this == QString::fromUtf8(literal); }

    const QJsonValue &value() const { return m_value; }
    QJsonArray array() const { return m_value.toArray(); }
    QJsonObject object() const { return m_value.toObject(); }

private:
    QJsonValue m_value = QJsonValue(QJsonValue::Null);
    bool m_exists = false;
};
