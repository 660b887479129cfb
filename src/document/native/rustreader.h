#pragma once

#include "document/native/creader.h"
#include "document/scriptsymbol.h"

#include <QByteArrayView>

#include <vector>

// Reads Rust into the same ScriptSymbols as C-family sources: functions, structs, enums, traits and
// modules, with the methods of every impl block attached to their type, and handlers marked by
// their attributes (tests, benchmarks, entry points, interrupts, web routes) or by being handed to
// thread spawning, signal and event registration calls.
namespace RustReader {

inline constexpr qsizetype byteLimit = CReader::byteLimit;
inline constexpr qsizetype symbolLimit = CReader::symbolLimit;
inline constexpr int depthLimit = CReader::depthLimit;

// Its includes are use declarations, extern crates and module files.
using Reading = CReader::Reading;

Reading read(QByteArrayView utf8);

// The event of a function handed to a call of this name: "thread", "signal" … or nothing.
QByteArray registers(QByteArrayView called);

} // namespace RustReader
