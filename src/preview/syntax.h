#pragma once

#include <QByteArrayView>
#include <QStringView>

#include <vector>

struct Language;
struct SyntaxRules;

// What a stretch of a line is, for the preview's colours. Few on purpose: a theme gives each one
// colour, and every language maps its own constructs onto these.
enum class SyntaxRole : quint8 {
    plain,
    comment,
    string, // also character literals, regular expressions and fenced code
    number, // numbers and other literal constants: character entities, symbols
    keyword,
    type,
    preprocessor, // directives, annotations, decorators, macros
    tag,
    attribute, // markup attribute names, object keys, style properties, variables
    heading,
    inserted,
    deleted,
};

// Byte offsets within one line.
struct SyntaxSpan {
    qint32 start;
    qint32 length;
    SyntaxRole role;

    bool operator==(const SyntaxSpan&) const = default;
};

// What a line leaves open for the next one. Small and trivially copyable, so that a checkpoint every
// few hundred lines of a huge file costs little; its fields mean what the line's language makes of
// them.
struct SyntaxCarry {
    enum class Open : quint8 {
        nothing,
        comment, // a block comment; `depth` counts nesting where comments nest
        string, // closes at `quote`; a backslash escapes the next byte
        verbatim, // closes at `quote`; a doubled quote stands for one
        raw, // closes at the exact bytes of `delimiter`
        rawComment, // a comment that closes at the exact bytes of `delimiter`
        triple, // closes at three `quote`s
        tag, // between the attributes of a markup tag
        attributeValue, // inside a markup attribute value, closing at `quote`
        fence, // a fenced code block of `depth` times `quote`
        heredoc, // a here-document that ends at a line holding `delimiter`
        expression, // code inside a template string's ${…}
    };
    static constexpr int delimiterCapacity = 19;

    Open open = Open::nothing;
    quint8 depth = 0; // comment nesting, style-sheet brace depth, fence length
    quint8 embed = 0; // markup: inside a script or a style element, whose language the rest describes
    char quote = 0;
    quint8 delimiterLength = 0;
    // The closing bytes of a raw string or comment, a heredoc's word; or for template strings, the
    // brace depth within each ${…} open around the line's end, outermost first.
    char delimiter[delimiterCapacity] = {};
    quint32 oldLines = 0; // diff: lines left in the hunk on each side
    quint32 newLines = 0;

    bool operator==(const SyntaxCarry&) const = default;
};

// How the lines of one language are coloured. One shared object per language, made on first use and
// never changed, so any thread may colour with it.
class Syntax {
public:
    // The syntax for a file name (by its language), or the plain one.
    static const Syntax& forFile(QStringView fileName);
    static const Syntax& forLanguage(const Language& language);
    static const Syntax& plain();

    explicit Syntax(const SyntaxRules& rules)
        : m_rules(&rules)
    {
    }

    // Nothing to colour: plain text, or a language not known.
    bool isPlain() const;

    // Replaces `spans` with the coloured stretches of one line (no line break in it; a trailing '\r'
    // is ignored), given what the line before left open, and updates `carry` for the next line.
    // Spans are in order, do not overlap, and leave plain bytes out. Any bytes are accepted.
    void colour(QByteArrayView line, SyntaxCarry& carry, std::vector<SyntaxSpan>& spans) const;
    // The carry alone, as colour() leaves it but quicker: for walking to a far line.
    void carryOver(QByteArrayView line, SyntaxCarry& carry) const;

private:
    const SyntaxRules* m_rules;
};
