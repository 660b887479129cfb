#include "commandline.h"

#include <QCoreApplication>

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Korvane"));
    QCoreApplication::setOrganizationName(QStringLiteral("Korvane"));
    QCoreApplication::setApplicationVersion(QStringLiteral(KORVANE_VERSION));
    QStringList arguments = QCoreApplication::arguments();
    arguments.removeFirst();
    return Cli::run(arguments);
}
