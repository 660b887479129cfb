#pragma once

#include <QByteArray>
#include <QString>

#include <algorithm>
#include <optional>

// Writes one JSON document into a byte buffer as it goes, so a tree of many thousand nodes is
// never held twice. Commas and indentation are handled here; callers only open, name and close.
class JsonWriter {
public:
    void beginObject(const char* key = nullptr);
    void endObject();
    void beginArray(const char* key = nullptr);
    void endArray();

    void value(const char* key, const QString& text);
    void value(const char* key, qint64 number);
    void value(const char* key, bool flag);
    void value(const char* key, double number); // as short as reads back the same
    void value(const char* key, float number);
    void null(const char* key);
    template <typename T> void optional(const char* key, const std::optional<T>& maybe)
    {
        if (maybe)
            value(key, *maybe);
        else
            null(key);
    }

    const QByteArray& bytes() const { return m_out; }

    static QByteArray quoted(const QString& text);

private:
    void open(const char* key, char bracket);
    void close(char bracket);
    void prefix(const char* key);
    // Deep documents stop indenting further at 40 levels, so output grows with the text, not its square.
    int indentation() const { return 2 * std::min(m_depth, 40); }

    QByteArray m_out;
    int m_depth = 0;
    bool m_first = true;
};
