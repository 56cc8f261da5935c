// Reading and writing Touchstone .s1p and .s2p files.
#pragma once

#include <QString>
#include <QVector>
#include <complex>

#include "network_parameters.h"

class VNAStimulus;

enum SnPFormat
{
    SnPFormatMA = 0,
    SnPFormatDB = 1,
    SnPFormatRI = 2
};

bool LoadS2PFile(const QString& path, bool allowNonLinear, QVector<double>& freqs,
                 SParameters& data, bool& isS1P, QString& error);
bool LoadS2PFile(const QString& path, bool allowNonLinear, QVector<double>& freqs,
                 SParameters& data, QString& error);
bool StoreSNPFile(const QString& path, const VNAStimulus& stimulus, const SParameters& data,
                  bool asS1P, int port, QString& error);
bool IsS1PFile(const QString& path);
bool IsLinearSpacing(const QVector<double>& freqs);
// A number token of a data line, accepted exactly when QString::toDouble accepts it and read to
// the same value; a refused token reads as QString::toDouble leaves it (0, or an infinity).
bool ParseTouchstoneNumber(const char* text, int length, double& value);
bool ParseVal(SnPFormat format, const QString& a, const QString& b, std::complex<double>& out);
QString toMA(std::complex<double> value);
