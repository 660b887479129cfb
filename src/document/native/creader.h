#pragma once

#include "document/scriptsymbol.h"

#include <QByteArrayView>

#include <vector>

// Reads C, C++ and Arduino sources into ScriptSymbols: functions, records with their fields and
// methods (also those defined out of line), and the handlers that matter in firmware: interrupt
// service routines, entry points, and functions handed to registration calls (interrupts, tasks,
// timers, signals, exit hooks). A tolerant token scanner: it never rejects input.
namespace CReader {

// Longer texts are read this far, up to a line end, and marked truncated.
inline constexpr qsizetype byteLimit = 16 * 1024 * 1024;
// Reading stops after this many symbols; native files are larger than scripts, and structured.
inline constexpr qsizetype symbolLimit = 10000;
// Records and namespaces nested deeper than this are passed over.
inline constexpr int depthLimit = 16;

struct Token {
    enum class Kind : quint8 { word, punct, string, number, directive };
    Kind kind;
    qint32 line; // 0-based
    qint32 start; // byte offsets
    qint32 end;
    QByteArrayView text(QByteArrayView source) const { return source.sliced(start, end - start); }
};

struct Include {
    QByteArray name;
    qint64 line = 0;
    bool system = false; // written in angle brackets
};

struct Reading {
    std::vector<ScriptSymbol> symbols; // the top level, with children
    std::vector<Include> includes;
    bool truncated = false;
};

Reading read(QByteArrayView utf8, bool cpp);
// The same over tokens already made, as for a header whose language was asked first.
Reading read(QByteArrayView utf8, const std::vector<Token>& tokens, bool cpp);

std::vector<Token> tokenise(QByteArrayView utf8);
// The part of a text that is read: all of it, or up to the last line end within the byte limit.
QByteArrayView readablePart(QByteArrayView utf8);
// C++ when, within the first 20,000 tokens, a class, namespace, template, public or virtual word or
// a "::" occurs.
bool looksLikeCpp(const std::vector<Token>& tokens, QByteArrayView utf8);

QString tokenKindName(Token::Kind kind);

} // namespace CReader
