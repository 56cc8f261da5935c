// Writes the seeds of the factory calibration block fuzzer: blocks built from the committed
// calibration seeds, and damaged copies of one (cut short, checksum off, unknown version).
// Usage: gen_factory_cal_seeds <calibration seed folder> <output folder>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <cstdio>

#include "factory_cal.h"
#include "vna_calibration.h"

namespace
{
bool Write(const QDir& out, const QString& name, const QByteArray& bytes)
{
    QFile f(out.filePath(name));
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(bytes) == bytes.size();
}
}  // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc != 3)
    {
        std::fprintf(stderr, "usage: %s <calibration seeds> <output folder>\n", argv[0]);
        return 2;
    }
    const QDir in(QString::fromLocal8Bit(argv[1]));
    QDir out(QString::fromLocal8Bit(argv[2]));
    out.mkpath(QStringLiteral("."));
    QByteArray good;
    for (const QString& name : {QStringLiteral("solr"), QStringLiteral("solt")})
    {
        QFile f(in.filePath(name + ".vnacal"));
        VNACalibration cal;
        QString error;
        QByteArray block;
        if (!f.open(QIODevice::ReadOnly) ||
            !FactoryCal::CalibrationFromText(f.readAll(), name + ".vnacal", cal, error) ||
            !FactoryCal::BuildBlock(cal, 1001, block, error) || !Write(out, name + ".block", block))
        {
            std::fprintf(stderr, "%s: %s\n", qPrintable(name), qPrintable(error));
            return 1;
        }
        good = block;
    }
    // Damaged copies of the last block: the parser's refusals.
    QByteArray shortBlock = good.left(good.size() / 2);
    QByteArray badSum = good;
    badSum[40] = char(badSum[40] ^ 0x5a);
    QByteArray badVersion = good;
    badVersion[8] = char(0x7f);
    return Write(out, QStringLiteral("truncated.block"), shortBlock) &&
                   Write(out, QStringLiteral("checksum.block"), badSum) &&
                   Write(out, QStringLiteral("version.block"), badVersion)
               ? 0
               : 1;
}
