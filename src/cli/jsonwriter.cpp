#include "cli/jsonwriter.h"

#include <charconv>
#include <cmath>

void JsonWriter::prefix(const char* key)
{
    if (m_depth > 0) {
        if (!m_first)
            m_out += ',';
        m_out += '\n';
        m_out.append(indentation(), ' ');
    }
    m_first = false;
    if (key) {
        m_out += '"';
        m_out += key;
        m_out += "\": ";
    }
}

void JsonWriter::open(const char* key, char bracket)
{
    prefix(key);
    m_out += bracket;
    ++m_depth;
    m_first = true;
}

void JsonWriter::close(char bracket)
{
    --m_depth;
    if (!m_first) {
        m_out += '\n';
        m_out.append(indentation(), ' ');
    }
    m_out += bracket;
    m_first = false;
    if (m_depth == 0)
        m_out += '\n';
}

void JsonWriter::beginObject(const char* key)
{
    open(key, '{');
}
void JsonWriter::endObject()
{
    close('}');
}
void JsonWriter::beginArray(const char* key)
{
    open(key, '[');
}
void JsonWriter::endArray()
{
    close(']');
}

void JsonWriter::value(const char* key, const QString& text)
{
    prefix(key);
    m_out += quoted(text);
}

void JsonWriter::value(const char* key, qint64 number)
{
    prefix(key);
    m_out += QByteArray::number(number);
}

void JsonWriter::value(const char* key, bool flag)
{
    prefix(key);
    m_out += flag ? "true" : "false";
}

namespace {

// The shortest text that reads back as the same number.
template <typename Real> QByteArray shortest(Real number)
{
    if (!std::isfinite(number))
        return "null";
    char buffer[32];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, number);
    return QByteArray(buffer, result.ptr - buffer);
}

} // namespace

void JsonWriter::value(const char* key, double number)
{
    prefix(key);
    m_out += shortest(number);
}

void JsonWriter::value(const char* key, float number)
{
    prefix(key);
    m_out += shortest(number);
}

void JsonWriter::null(const char* key)
{
    prefix(key);
    m_out += "null";
}

QByteArray JsonWriter::quoted(const QString& text)
{
    const QByteArray utf8 = text.toUtf8();
    QByteArray out;
    out.reserve(utf8.size() + 2);
    out += '"';
    for (const char c : utf8) {
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (uchar(c) < 0x20) {
                out += "\\u00";
                out += QByteArray::number(uchar(c), 16).rightJustified(2, '0');
            } else {
                out += c;
            }
        }
    }
    out += '"';
    return out;
}
