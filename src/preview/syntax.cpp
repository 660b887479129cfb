#include "preview/syntax.h"

#include "model/language.h"
#include "preview/syntaxrules.h"

#include <QHash>

#include <algorithm>
#include <deque>

namespace {

SyntaxScanner scannerFor(SyntaxFamily family)
{
    switch (family) {
    case SyntaxFamily::cLike: return scanCLike;
    case SyntaxFamily::hash: return scanHash;
    case SyntaxFamily::dashes: return scanDashes;
    case SyntaxFamily::lineComment: return scanLineComment;
    case SyntaxFamily::markup: return scanMarkup;
    case SyntaxFamily::css: return scanCss;
    case SyntaxFamily::config: return scanConfig;
    case SyntaxFamily::json: return scanJson;
    case SyntaxFamily::markdown: return scanMarkdown;
    case SyntaxFamily::diff: return scanDiff;
    case SyntaxFamily::plain: break;
    }
    return nullptr;
}

// Every syntax, made once on first use and never changed after.
struct Registry {
    std::deque<SyntaxRules> rules; // stable addresses
    std::deque<Syntax> syntaxes;
    QHash<QString, const Syntax*> byLanguage;
    const Syntax* plain = nullptr;

    Registry()
    {
        plain = &syntaxes.emplace_back(rules.emplace_back());
        const SyntaxRules* script = nullptr;
        const SyntaxRules* style = nullptr;
        for (const std::span<const SyntaxRow> table : { cLikeRows(), otherRows() }) {
            for (const SyntaxRow& row : table) {
                SyntaxRules& made = rules.emplace_back();
                made.family = row.family;
                made.dialect = row.dialect;
                made.features = row.features;
                made.words = KeywordSet(row.keywords, row.types, row.ignoreCase);
                made.openers = openersOf(row.family, row.dialect, row.features);
                const QString name = QString::fromLatin1(row.language);
                byLanguage.insert(name, &syntaxes.emplace_back(made));
                if (name == u"TypeScript") // a superset of what pages and components script in
                    script = &made;
                else if (name == u"CSS")
                    style = &made;
            }
        }
        for (SyntaxRules& made : rules) {
            if (made.dialect == Dialect::html) {
                made.script = script;
                made.style = style;
            }
        }
    }
};

const Registry& registry()
{
    static const Registry instance;
    return instance;
}

void scan(const SyntaxRules& rules, QByteArrayView line, SyntaxCarry& carry, SpanOut& out)
{
    if (line.endsWith('\r'))
        line.chop(1);
    if (const SyntaxScanner scanner = scannerFor(rules.family))
        scanner(rules, line, 0, carry, out);
    else
        carry = {};
}

} // namespace

const Syntax& Syntax::forFile(QStringView fileName)
{
    // The language table files CMakeLists.txt with Make, for its city's colours; its syntax is CMake's.
    const QStringView name = fileName.mid(fileName.lastIndexOf(u'/') + 1);
    if (name.compare(u"CMakeLists.txt", Qt::CaseInsensitive) == 0)
        return *registry().byLanguage.value(QStringLiteral("CMake"));
    // reStructuredText and AsciiDoc count as Markdown there, but underline their headings with the
    // marks that fence Markdown's code.
    if (name.endsWith(u".rst", Qt::CaseInsensitive) || name.endsWith(u".adoc", Qt::CaseInsensitive))
        return plain();
    return forLanguage(Languages::languageFor(fileName));
}

const Syntax& Syntax::forLanguage(const Language& language)
{
    const Registry& all = registry();
    return *all.byLanguage.value(language.name, all.plain);
}

const Syntax& Syntax::plain()
{
    return *registry().plain;
}

bool Syntax::isPlain() const
{
    return m_rules->family == SyntaxFamily::plain;
}

void Syntax::colour(QByteArrayView line, SyntaxCarry& carry, std::vector<SyntaxSpan>& spans) const
{
    spans.clear();
    SpanOut out(&spans);
    scan(*m_rules, line, carry, out);
}

void Syntax::carryOver(QByteArrayView line, SyntaxCarry& carry) const
{
    if (carry == SyntaxCarry {}) {
        const auto opens = [&](char c) { return m_rules->openers[static_cast<unsigned char>(c)]; };
        if (std::none_of(line.begin(), line.end(), opens))
            return;
    }
    SpanOut out(nullptr);
    scan(*m_rules, line, carry, out);
}
