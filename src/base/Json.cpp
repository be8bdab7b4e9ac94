#include "base/Json.h"

#include <QLocale>

#include <cmath>
#include <limits>

Json::Json(const QJsonDocument &document)
{
    if (document.isObject())
        *this = Json(QJsonValue(document.object()));
    else if (document.isArray())
        *this = Json(QJsonValue(document.array()));
}

Json Json::parse(const QByteArray &bytes)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError)
        return Json();
    return Json(document);
}

Json Json::operator[](QStringView member) const
{
    if (!m_value.isObject())
        return Json();
    const QJsonObject object = m_value.toObject();
    const auto it = object.constFind(member);
    if (it == object.constEnd())
        return Json();
    return Json(it.value());
}

Json Json::operator[](qsizetype index) const
{
    if (!m_value.isArray())
        return Json();
    const QJsonArray array = m_value.toArray();
    if (index < 0 || index >= array.size())
        return Json();
    return Json(array.at(index));
}

bool Json::has(const QString &member) const
{
    return m_value.isObject() && m_value.toObject().contains(member);
}

static QString numberText(double number)
{
    if (std::isfinite(number) && number == std::trunc(number) && std::fabs(number) < 9.0e15)
        return QString::number(qint64(number));
    return QString::number(number, 'g', QLocale::FloatingPointShortest);
}

QString Json::text() const
{
    if (m_value.isString())
        return m_value.toString();
    if (m_value.isDouble())
        return numberText(m_value.toDouble());
    return QString();
}

static qint64 clampToInteger(double number)
{
    if (!std::isfinite(number))
        return 0;
    const double truncated = std::trunc(number);
    if (truncated >= 9.2e18)
        return std::numeric_limits<qint64>::max();
    if (truncated <= -9.2e18)
        return std::numeric_limits<qint64>::min();
    return qint64(truncated);
}

static std::optional<double> decimalNumber(const QString &text)
{
    bool ok = false;
    const double number = text.trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(number))
        return std::nullopt;
    return number;
}

qint64 Json::integer() const
{
    if (m_value.isDouble())
        return clampToInteger(m_value.toDouble());
    if (m_value.isString()) {
        if (const auto number = decimalNumber(m_value.toString()))
            return clampToInteger(*number);
    }
    return 0;
}

double Json::real() const
{
    if (m_value.isDouble())
        return m_value.toDouble();
    if (m_value.isString()) {
        if (const auto number = decimalNumber(m_value.toString()))
            return *number;
    }
    return 0.0;
}

std::optional<qint64> Json::optionalInteger() const
{
    if (m_value.isDouble())
        return clampToInteger(m_value.toDouble());
    return std::nullopt;
}

qsizetype Json::count() const
{
    if (m_value.isArray())
        return m_value.toArray().size();
    if (m_value.isObject())
        return m_value.toObject().size();
    return 0;
}
