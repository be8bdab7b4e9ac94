#include "creation/ConverterOutput.h"

namespace {

void appendLine(QStringList &lines, QByteArrayView bytes)
{
    const QString line = QString::fromUtf8(bytes);
    if (!line.trimmed().isEmpty())
        lines.append(line);
}

} // namespace

QStringList ConverterOutput::feed(const QByteArray &bytes)
{
    m_rest += bytes;
    QStringList lines;
    qsizetype begin = 0;
    for (qsizetype i = 0; i < m_rest.size(); ++i) {
        if (m_rest.at(i) == '\n' || m_rest.at(i) == '\r') {
            appendLine(lines, QByteArrayView(m_rest).sliced(begin, i - begin));
            begin = i + 1;
        }
    }
    m_rest.remove(0, begin);
    return lines;
}

QStringList ConverterOutput::finish()
{
    QStringList lines;
    appendLine(lines, m_rest);
    m_rest.clear();
    return lines;
}
