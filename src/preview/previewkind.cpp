#include "preview/previewkind.h"

#include "model/language.h"

#include <array>

namespace {

QStringView extension(QStringView fileName)
{
    const qsizetype dot = fileName.lastIndexOf(u'.');
    return dot < 0 ? QStringView() : fileName.mid(dot + 1);
}

bool among(QStringView word, std::initializer_list<QStringView> words)
{
    for (const QStringView candidate : words) {
        if (word.compare(candidate, Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

// The pictures Qt reads with the plugins every desktop has, and SVG through its renderer.
bool isPicture(QStringView ext)
{
    return among(ext,
        { u"png", u"jpg", u"jpeg", u"gif", u"bmp", u"ico", u"webp", u"svg", u"pbm", u"pgm", u"ppm", u"xbm",
            u"xpm", u"tif", u"tiff" });
}

} // namespace

namespace Preview {

PreviewKind kindFor(QStringView fileName, qint64 size, QByteArrayView head)
{
    const QStringView ext = extension(fileName);
    if (isPicture(ext))
        return PreviewKind::image;
    if (head.contains('\0') || Languages::languageFor(fileName).isBinary)
        return PreviewKind::bytes;
    if (size > renderLimitBytes)
        return PreviewKind::text;
    if (among(ext, { u"kicad_pcb", u"kicad_sch" }))
        return PreviewKind::drawing;
    if (among(ext, { u"md", u"markdown", u"html", u"htm", u"xhtml" }))
        return PreviewKind::markdown;
    return PreviewKind::text;
}

PreviewKind shownKind(PreviewKind natural, QStringView fileName, bool hexMode, bool rawSource)
{
    if (hexMode)
        return PreviewKind::bytes;
    return rawSource && hasRawSource(natural, fileName) ? PreviewKind::text : natural;
}

bool hasRawSource(PreviewKind natural, QStringView fileName)
{
    return natural == PreviewKind::markdown || natural == PreviewKind::drawing
        || (natural == PreviewKind::image && extension(fileName).compare(u"svg", Qt::CaseInsensitive) == 0);
}

QString kindName(PreviewKind kind)
{
    static const std::array<QString, 5> names { QStringLiteral("text"), QStringLiteral("markdown"),
        QStringLiteral("image"), QStringLiteral("bytes"), QStringLiteral("drawing") };
    return names[size_t(kind)];
}

} // namespace Preview
