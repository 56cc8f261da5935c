// Prints the remote command reference, generated from the command table and the program's
// command bodies, to standard output or to the file named by the one argument (docs/scpi.md).
#include <QCoreApplication>
#include <QFile>
#include <QTextStream>
#include <cstdio>

#include "mainwindow_scpi.h"

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QByteArray text = scpiCommandReference(scpiBodyStatus).toUtf8();
    if (argc < 2)
    {
        fwrite(text.constData(), 1, static_cast<size_t>(text.size()), stdout);
        return 0;
    }
    QFile file(QString::fromLocal8Bit(argv[1]));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(text) != text.size())
    {
        fprintf(stderr, "gen_scpi_doc: cannot write %s\n", argv[1]);
        return 1;
    }
    return 0;
}
