#pragma once

#include <QByteArrayView>
#include <QString>
#include <QStringView>

// How the preview shows a file: its text, rendered as a document (Markdown, HTML), as a picture, as
// bytes in hex, or as a drawing (boards and schematics).
enum class PreviewKind { text, markdown, image, bytes, drawing };

namespace Preview {

// Files larger than this are shown as text even when they could be rendered: rendering reads the
// whole file.
constexpr qint64 renderLimitBytes = 8 << 20;

// The kind that suits a file, from its name, its size and its first bytes (a zero byte among them
// makes it binary, as the scan decides).
PreviewKind kindFor(QStringView fileName, qint64 size, QByteArrayView head);
// The kind shown once the user's choices apply: bytes in hex over everything, the raw source of what
// is rendered.
PreviewKind shownKind(PreviewKind natural, QStringView fileName, bool hexMode, bool rawSource);
// Whether "v" has something to switch: the kind renders a source that has text of its own.
bool hasRawSource(PreviewKind natural, QStringView fileName);
QString kindName(PreviewKind kind);

} // namespace Preview
