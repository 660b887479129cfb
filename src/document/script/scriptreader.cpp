#include "document/script/scriptreader.h"

#include "document/script/scriptparser_p.h"
#include "text/bytetext.h"
#include "text/nametable.h"

#include <cstring>

namespace ScriptReader {

namespace {

using Kind = Token::Kind;
using ByteText::isDigit;
using ByteText::isLetter;

bool isIdentifierStart(char c)
{
    return ByteText::isWordStart(c) || c == '$';
}

bool isIdentifierByte(char c)
{
    return ByteText::isWordByte(c) || c == '$';
}

bool isHexDigit(char c)
{
    return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

// After these words a "/" starts a regular expression, as after an operator.
bool opensRegex(QByteArrayView word)
{
    static constexpr std::string_view words[] { "return", "typeof", "case", "in", "of", "new", "delete",
        "void", "instanceof", "do", "else", "yield", "await" };
    return std::find(std::begin(words), std::end(words), ByteText::view(word)) != std::end(words);
}

class Tokenizer {
public:
    explicit Tokenizer(QByteArrayView text)
        : m_text(text)
    {
        // No token is shorter than a byte, so this never grows; the pages of what is not used are
        // never touched, and cost no memory.
        m_tokens.reserve(size_t(text.size()));
    }

    std::vector<Token> run();

private:
    bool regexAllowed() const;
    void add(qsizetype start, qsizetype end, Kind kind) { m_tokens.emplace_back(start, end, kind); }
    qsizetype quoted(qsizetype at) const { return ByteText::quotedEnd(m_text, at); }
    qsizetype templateEnd(qsizetype at) const;
    qsizetype readRegex(qsizetype at) const;
    qsizetype find(qsizetype from, std::string_view what) const;

    QByteArrayView m_text;
    std::vector<Token> m_tokens;
};

qsizetype Tokenizer::find(qsizetype from, std::string_view what) const
{
    const size_t found = ByteText::view(m_text).find(what, size_t(from));
    return found == std::string_view::npos ? m_text.size() : qsizetype(found);
}

bool Tokenizer::regexAllowed() const
{
    if (m_tokens.empty())
        return true;
    const Token& previous = m_tokens.back();
    const QByteArrayView text = previous.text(m_text);
    if (previous.kind() == Kind::punct)
        return text != ")" && text != "]" && text != "}";
    return previous.kind() == Kind::word && opensRegex(text);
}

// A template runs to the next back quote outside its ${ … } parts, whose braces are counted.
qsizetype Tokenizer::templateEnd(qsizetype at) const
{
    qsizetype i = at + 1;
    qsizetype braces = 0;
    while (i < m_text.size()) {
        const char c = m_text[i];
        if (c == '\\') {
            i += 2;
            continue;
        }
        if (braces == 0 && c == '`')
            return i + 1;
        if (c == '$' && i + 1 < m_text.size() && m_text[i + 1] == '{') {
            ++braces;
            i += 2;
            continue;
        }
        if (braces > 0 && c == '{')
            ++braces;
        else if (braces > 0 && c == '}')
            --braces;
        ++i;
    }
    return m_text.size();
}

// Runs to the "/" that is neither escaped nor inside a [ … ] class, then its flags; a newline ends it.
qsizetype Tokenizer::readRegex(qsizetype at) const
{
    qsizetype i = at + 1;
    bool inClass = false;
    while (i < m_text.size()) {
        const char c = m_text[i];
        if (c == '\\') {
            i += 2;
            continue;
        }
        if (c == '\n')
            return i;
        if (c == '[')
            inClass = true;
        else if (c == ']')
            inClass = false;
        else if (c == '/' && !inClass) {
            ++i;
            while (i < m_text.size() && isLetter(m_text[i]))
                ++i;
            return i;
        }
        ++i;
    }
    return m_text.size();
}

std::vector<Token> Tokenizer::run()
{
    const qsizetype size = m_text.size();
    qsizetype i = 0;
    while (i < size) {
        const char c = m_text[i];
        const char next = i + 1 < size ? m_text[i + 1] : '\0';
        if (c == '\n' || c == ' ' || c == '\t' || c == '\r') {
            ++i;
        } else if (c == '/' && next == '/') {
            i = ByteText::lineEnd(m_text, i);
        } else if (c == '/' && next == '*') {
            const qsizetype close = find(i + 2, "*/");
            i = std::min(size, close + 2);
        } else if (c == '/') {
            const bool regex = regexAllowed();
            const qsizetype end = regex ? readRegex(i) : i + 1;
            add(i, end, regex ? Kind::regex : Kind::punct);
            i = end;
        } else if (c == '"' || c == '\'') {
            const qsizetype end = quoted(i);
            add(i, std::min(end, size), Kind::string);
            i = end;
        } else if (c == '`') {
            const qsizetype end = std::min(templateEnd(i), size);
            add(i, end, Kind::templateLiteral);
            i = end;
        } else if (isDigit(c)) {
            qsizetype end = i + 1;
            while (end < size
                && (isHexDigit(m_text[end]) || m_text[end] == '.' || m_text[end] == '_' || m_text[end] == 'x'
                    || m_text[end] == 'X'))
                ++end;
            add(i, end, Kind::number);
            i = end;
        } else if (isIdentifierStart(c)) {
            qsizetype end = i + 1;
            while (end < size && isIdentifierByte(m_text[end]))
                ++end;
            add(i, end, Kind::word);
            i = end;
        } else if (c == '=' && next == '>') {
            add(i, i + 2, Kind::punct);
            i += 2;
        } else {
            add(i, i + 1, Kind::punct);
            ++i;
        }
    }
    return std::move(m_tokens);
}

} // namespace

std::vector<Token> tokenize(QByteArrayView utf8)
{
    return Tokenizer(utf8).run();
}

std::vector<qint32> brackets(const std::vector<Token>& tokens, QByteArrayView utf8)
{
    return ByteText::matchBrackets(qsizetype(tokens.size()), [&](qsizetype i) {
        const Token& token = tokens[size_t(i)];
        return token.kind() == Kind::punct && token.end() - token.start() == 1 ? utf8[token.start()] : '\0';
    });
}

constexpr auto tokenKindNames
    = nameTable<Token::Kind>("word", "punct", "string", "template", "number", "regex");

QString tokenKindName(Token::Kind kind)
{
    return tokenKindNames.name(kind);
}

Reading read(QByteArrayView utf8)
{
    if (ByteText::hasAtLeastCharacters(utf8, characterLimit)) {
        // What comes before the limit is read, up to its last whole line: no character is shorter
        // than a byte, so that many bytes hold fewer characters than the limit.
        QByteArrayView head = utf8.first(characterLimit - 1);
        if (const qsizetype newline = head.lastIndexOf('\n'); newline >= 0)
            head = head.first(newline + 1);
        Reading reading = read(head);
        reading.truncated = true;
        return reading;
    }
    Reading reading;
    const std::vector<Token> tokens = tokenize(utf8);
    if (tokens.empty())
        return reading;
    const std::vector<qint32> match = brackets(tokens, utf8);
    Parser parser(utf8, tokens, match);
    // Once the top level alone passes the budget, the symbols kept are its first ones, without
    // children: the rest of the text changes nothing, and is not scanned.
    std::vector<Found> found = parser.parse(0, qsizetype(tokens.size()), 0, size_t(symbolBudget) + 1);
    qsizetype budget = symbolBudget;
    reading.truncated = trim(found, budget);
    for (const Found& top : found) {
        if (top.kept)
            reading.symbols.push_back(parser.symbol(top));
    }
    return reading;
}

} // namespace ScriptReader
