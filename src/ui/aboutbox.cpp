#include "ui/aboutbox.h"

#include <QClipboard>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QMessageBox>
#include <QPushButton>

QString aboutDetails(const QString& driver)
{
    return QStringLiteral("Korvane ") + QCoreApplication::applicationVersion() + QStringLiteral("\nQt ")
        + QString::fromLatin1(qVersion()) + QStringLiteral(" on ") + QGuiApplication::platformName()
        + QStringLiteral("\nDrawn by ")
        + (driver.isEmpty() ? QStringLiteral("nothing yet: no folder has been drawn") : driver);
}

void showAboutBox(QWidget* window, const QString& driver)
{
    auto* box = new QMessageBox(window);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowTitle(QStringLiteral("About Korvane"));
    box->setText(QStringLiteral("<b>Korvane</b> draws a folder or Git repository as a city, a tree, a replay "
                                "of its history or a graph of its imports."));
    const QString details = aboutDetails(driver);
    box->setInformativeText(details.toHtmlEscaped().replace(u'\n', QStringLiteral("<br>")));
    box->setTextInteractionFlags(Qt::TextSelectableByMouse);
    QPushButton* copy = box->addButton(QStringLiteral("Copy details"), QMessageBox::ActionRole);
    box->addButton(QMessageBox::Close);
    QObject::connect(
        copy, &QPushButton::clicked, box, [details] { QGuiApplication::clipboard()->setText(details); });
    box->open();
}
