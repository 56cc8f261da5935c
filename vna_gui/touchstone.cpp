#include "touchstone.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QTextStream>
#include <charconv>
#include <cmath>

#include "application_settings.h"
#include "vna_stimulus.h"

namespace
{
QString Tr(const char* text)
{
    return QCoreApplication::translate("Touchstone", text);
}

constexpr double kDegToRad = 0.017453292519943295;
constexpr double kRadToDeg = 57.29577951308232;
}  // namespace

bool IsS1PFile(const QString& path)
{
    return QFileInfo(path).suffix().toLower() == QLatin1String("s1p");
}

bool IsLinearSpacing(const QVector<double>& f)
{
    if (f.size() < 3)
    {
        return true;
    }
    const double d = f[1] - f[0];
    for (int i = 2; i < f.size(); ++i)
    {
        if (std::fabs((f[i] - f[i - 1]) - d) > 1e6)
        {
            return false;
        }
    }
    return true;
}

namespace
{
// The value pair of a data line as a complex number, by the file's format.
bool PairToComplex(SnPFormat format, double va, double vb, std::complex<double>& out)
{
    switch (format)
    {
        case SnPFormatMA:
            out =
                std::complex<double>(va * std::cos(vb * kDegToRad), va * std::sin(vb * kDegToRad));
            return true;
        case SnPFormatDB:
        {
            const double mag = std::pow(10.0, va / 20.0);
            out = std::complex<double>(mag * std::cos(vb * kDegToRad),
                                       mag * std::sin(vb * kDegToRad));
            return true;
        }
        case SnPFormatRI:
            out = std::complex<double>(va, vb);
            return true;
    }
    return false;
}

}  // namespace

bool ParseTouchstoneNumber(const char* p, int n, double& v)
{
    // Plain decimal numbers take a fast path. Its parser also takes "infinity" and "nan(...)",
    // which QString does not: any letter but an exponent's sends the token through QString.
    bool plain = n > 0;
    for (int i = 0; i < n && plain; ++i)
    {
        const char c = p[i];
        plain = (c >= '0' && c <= '9') || c == '.' || c == '-' || c == '+' || c == 'e' || c == 'E';
    }
    if (plain)
    {
        const auto r = std::from_chars(p, p + n, v);
        if (r.ec == std::errc() && r.ptr == p + n)
        {
            return true;
        }
    }
    bool ok = false;
    v = QString::fromLatin1(p, n).toDouble(&ok);
    return ok;
}

bool ParseVal(SnPFormat format, const QString& a, const QString& b, std::complex<double>& out)
{
    bool okA = false, okB = false;
    const double va = a.toDouble(&okA);
    const double vb = b.toDouble(&okB);
    if (!okA || !okB)
    {
        return false;
    }
    return PairToComplex(format, va, vb, out);
}

QString toMA(std::complex<double> v)
{
    return QString::asprintf("%f %f", std::abs(v), std::atan2(v.imag(), v.real()) * kRadToDeg);
}

namespace
{
// The option line's tokens after the hash; false with `error` set on a bad token.
bool ParseOptionLine(const QString& line, double& multiplier, SnPFormat& format, QString& error)
{
    const QStringList tokens = line.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    // The first token is taken to be the hash alone, so "#GHz" loses its unit: kept as is.
    for (int i = 1; i < tokens.size(); ++i)
    {
        const QString& tok = tokens.at(i);
        const QString low = tok.toLower();
        if (low == QLatin1String("ghz"))
        {
            multiplier = 1e9;
        }
        else if (low == QLatin1String("mhz"))
        {
            multiplier = 1e6;
        }
        else if (low == QLatin1String("khz"))
        {
            multiplier = 1e3;
        }
        else if (low == QLatin1String("hz"))
        {
            multiplier = 1.0;
        }
        else if (low == QLatin1String("s"))
        {
        }
        else if (low == QLatin1String("y") || low == QLatin1String("z") ||
                 low == QLatin1String("h") || low == QLatin1String("g"))
        {
            error = Tr("Unsupported network parameter, must be S.");
            return false;
        }
        else if (low == QLatin1String("ma"))
        {
            format = SnPFormatMA;
        }
        else if (low == QLatin1String("db"))
        {
            format = SnPFormatDB;
        }
        else if (low == QLatin1String("ri"))
        {
            format = SnPFormatRI;
        }
        else if (tok == QLatin1String("R"))
        {
            if (i + 1 >= tokens.size())
            {
                error = Tr("Expected resistance parameter, none found");
                return false;
            }
            bool ok = false;
            tokens.at(i + 1).toDouble(&ok);
            if (!ok)
            {
                error = Tr("Unable to parse reference resistance");
                return false;
            }
            ++i;  // any reference resistance is accepted; nothing is renormalised
        }
        else
        {
            error = Tr("Invalid value on the option line.");
            return false;
        }
    }
    return true;
}
}  // namespace

namespace
{
// One data line, split on single blanks with empty parts dropped, appended to the record. The
// frequency is not checked: a bad one reads as QString::toDouble reads it (0).
bool ReadDataLine(const QByteArray& bytes, bool isS1P, double multiplier, SnPFormat format,
                  QVector<double>& freqs, SParameters& data, QString& error)
{
    // Only the first nine tokens are kept, but all are counted.
    const char* tokenStart[9];
    int tokenLength[9];
    int count = 0;
    for (int i = 0, n = bytes.size(); i < n;)
    {
        while (i < n && bytes[i] == ' ')
        {
            ++i;
        }
        const int begin = i;
        while (i < n && bytes[i] != ' ')
        {
            ++i;
        }
        if (i > begin)
        {
            if (count < 9)
            {
                tokenStart[count] = bytes.constData() + begin;
                tokenLength[count] = i - begin;
            }
            ++count;
        }
    }
    if (count != (isS1P ? 3 : 9))
    {
        error = Tr("Invalid number of points on line");
        return false;
    }
    double f = 0.0;
    ParseTouchstoneNumber(tokenStart[0], tokenLength[0], f);
    freqs.append(f * multiplier);
    std::complex<double> v[4];
    const int pairs = isS1P ? 1 : 4;
    for (int k = 0; k < pairs; ++k)
    {
        double va = 0.0, vb = 0.0;
        if (!ParseTouchstoneNumber(tokenStart[1 + 2 * k], tokenLength[1 + 2 * k], va) ||
            !ParseTouchstoneNumber(tokenStart[2 + 2 * k], tokenLength[2 + 2 * k], vb) ||
            !PairToComplex(format, va, vb, v[k]))
        {
            error = Tr("Unable to parse data value");
            return false;
        }
    }
    data.S11.append(v[0]);
    data.S21.append(v[1]);
    data.S12.append(v[2]);
    data.S22.append(v[3]);
    return true;
}

bool IsFinite(std::complex<double> v)
{
    return std::isfinite(v.real()) && std::isfinite(v.imag());
}

// The point just read must be one a sweep can hold: finite, and above the one before it.
bool CheckPoint(const QVector<double>& freqs, const SParameters& data, int line, QString& error)
{
    const int i = freqs.size() - 1;
    if (!std::isfinite(freqs[i]) || !IsFinite(data.S11[i]) || !IsFinite(data.S21[i]) ||
        !IsFinite(data.S12[i]) || !IsFinite(data.S22[i]))
    {
        error = Tr("Line %1 holds a value that is not a finite number.").arg(line);
        return false;
    }
    if (i > 0 && !(freqs[i] > freqs[i - 1]))
    {
        error = Tr("Line %1: the frequencies must increase from one line to the next.").arg(line);
        return false;
    }
    return true;
}
}  // namespace

bool LoadS2PFile(const QString& path, bool allowNonLinear, QVector<double>& freqs,
                 SParameters& data, bool& isS1P, QString& error)
{
    double multiplier = 1e9;
    SnPFormat format = SnPFormatMA;
    bool optionSeen = false;
    isS1P = IsS1PFile(path);

    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
    {
        error = Tr("Unable to open file.");
        return false;
    }

    // Lines are taken as Latin-1 bytes: the grammar is ASCII and a binary file must not stall
    // a text codec.
    QString line;
    bool inData = false;
    int lineNumber = 0;
    while (!file.atEnd())
    {
        const QByteArray raw = file.readLine();
        ++lineNumber;
        line = QString::fromLatin1(raw.constData(), raw.size());
        if (line.endsWith(QLatin1Char('\n')))
        {
            line.chop(1);
        }
        if (line.endsWith(QLatin1Char('\r')))
        {
            line.chop(1);
        }
        if (!inData)
        {
            const QString t = line.trimmed();
            if (t.isEmpty() || t.startsWith(QLatin1Char('!')) || t.startsWith(QLatin1Char('[')))
            {
                continue;
            }
            if (t.startsWith(QLatin1Char('#')))
            {
                if (!optionSeen)
                {
                    optionSeen = true;
                    if (!ParseOptionLine(t, multiplier, format, error))
                    {
                        return false;
                    }
                }
                continue;
            }
            inData = true;
            line = t;  // the first data line was trimmed when it was read
        }
        else if (line.isEmpty())
        {
            continue;  // only truly empty lines are skipped; a line of blanks is a bad data line
        }

        if (!ReadDataLine(line.toLatin1(), isS1P, multiplier, format, freqs, data, error) ||
            !CheckPoint(freqs, data, lineNumber, error))
        {
            return false;
        }
    }
    if (!inData)
    {
        error = Tr("Unexpected end of file before data");
        return false;
    }
    if (!allowNonLinear && !IsLinearSpacing(freqs))
    {
        error = Tr("Cannot load file, only linear frequency spacing is supported.");
        return false;
    }
    return true;
}

bool LoadS2PFile(const QString& path, bool allowNonLinear, QVector<double>& freqs,
                 SParameters& data, QString& error)
{
    bool isS1P = false;
    return LoadS2PFile(path, allowNonLinear, freqs, data, isS1P, error);
}

namespace
{
// Same text as printf's "%.Nf" (both round correctly), several times faster on large files.
void AppendFixed(QByteArray& out, double v, int decimals)
{
    char buf[400];
    const auto r = std::to_chars(buf, buf + sizeof buf, v, std::chars_format::fixed, decimals);
    if (r.ec == std::errc())
    {
        out.append(buf, int(r.ptr - buf));
    }
    else
    {
        out.append(QByteArray::number(v, 'f', decimals));
    }
}
}  // namespace

bool StoreSNPFile(const QString& path, const VNAStimulus& stimulus, const SParameters& data,
                  bool asS1P, int port, QString& error)
{
    if (!data.ValidSize())
    {
        error = Tr("Invalid S-Parameter data size.");
        return false;
    }
    QByteArray out;
    const int n = data.Size();
    out.reserve(64 + n * (asS1P ? 40 : 130));
    out += "!Kestrix\n";
    out += "!Date:" + QDateTime::currentDateTime().toString(Qt::TextDate).toLatin1() + "\n";
    out += "# GHz S MA R 50\n";
    const double step = stimulus.StepSize();
    auto appendMA = [&](std::complex<double> v)
    {
        AppendFixed(out, std::abs(v), 6);
        out += ' ';
        AppendFixed(out, std::atan2(v.imag(), v.real()) * kRadToDeg, 6);
    };
    for (int i = 0; i < n; ++i)
    {
        AppendFixed(out, (step * i + stimulus.start) / 1e9, 8);
        out += ' ';
        if (asS1P)
        {
            appendMA(port == 0 ? data.S11[i] : data.S22[i]);
        }
        else
        {
            appendMA(data.S11[i]);
            out += ' ';
            appendMA(data.S21[i]);
            out += ' ';
            appendMA(data.S12[i]);
            out += ' ';
            appendMA(data.S22[i]);
        }
        out += '\n';
    }
    // A failed write never replaces a good file.
    if (!SaveFileWhole(path, out))
    {
        error = Tr("Unable to open selected file.");
        return false;
    }
    return true;
}
