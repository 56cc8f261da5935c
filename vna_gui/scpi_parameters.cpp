#include "scpi_parameters.h"

#include <QCoreApplication>
#include <QRegularExpression>

#include "error_log.h"
#include "scpi_def.h"

int scpiParameterToInt(const QString& text, bool& ok)
{
    return text.trimmed().toLower().toInt(&ok);
}

bool scpiParameterToBool(const QString& text, bool& ok)
{
    const QString t = text.trimmed().toLower();
    ok = true;
    if (t == QLatin1String("off") || t == QLatin1String("0"))
    {
        return false;
    }
    if (t == QLatin1String("on") || t == QLatin1String("1"))
    {
        return true;
    }
    ok = false;
    return false;
}

double scpiParameterToDouble(const QString& text, bool& ok)
{
    return text.trimmed().toDouble(&ok);
}

double scpiParameterToFreq(const QString& text, bool& ok)
{
    static const QRegularExpression kSpace(QStringLiteral("\\s"));
    // One optional exponent digit and no exponent sign: kept this narrow on purpose.
    static const QRegularExpression kNumber(QStringLiteral("[-+]?\\d*\\.?\\d+[e]?\\d?"));
    static const QRegularExpression kWord(QStringLiteral("[a-z]+"));

    ok = false;
    QString t = text;
    t.remove(kSpace);
    t = t.toLower();

    const QRegularExpressionMatch number = kNumber.match(t);
    if (!number.hasMatch())
    {
        return 0.0;
    }
    bool numberOk = false;
    const double value = number.captured(0).toDouble(&numberOk);
    if (!numberOk)
    {
        return 0.0;
    }
    QString rest = t;
    rest.remove(number.capturedStart(0), number.capturedLength(0));
    if (rest.isEmpty())
    {
        ok = true;
        return value;
    }
    // The unit is searched in the whole text, so an exponent letter left over counts as a word.
    const QString unit = kWord.match(t).captured(0);
    double factor = 0.0;
    if (unit == QLatin1String("h") || unit == QLatin1String("hz"))
    {
        factor = 1.0;
    }
    else if (unit == QLatin1String("k") || unit == QLatin1String("kh") ||
             unit == QLatin1String("khz"))
    {
        factor = 1e3;
    }
    else if (unit == QLatin1String("m") || unit == QLatin1String("mh") ||
             unit == QLatin1String("mhz"))
    {
        factor = 1e6;
    }
    else if (unit == QLatin1String("g") || unit == QLatin1String("gh") ||
             unit == QLatin1String("ghz"))
    {
        factor = 1e9;
    }
    else
    {
        return 0.0;
    }
    ok = true;
    return value * factor;
}

QString scpiParameterToFileName(const QString& text, bool& ok)
{
    const QString t = text.trimmed();
    ok = t.size() >= 2 && t.startsWith(QLatin1Char('"')) && t.endsWith(QLatin1Char('"'));
    if (!ok)
    {
        return QString();
    }
    return t.mid(1, t.size() - 2);
}

bool scpiParameterToBinary(const QString& text, std::vector<unsigned char>& data)
{
    const QByteArray bytes = text.trimmed().toUtf8();
    const int length = bytes.size();
    if (length <= 2 || bytes[0] != '#')
    {
        return false;
    }
    const char digitChar = bytes[1];
    if (digitChar < '0' || digitChar > '9')
    {
        return false;
    }
    const int n = digitChar - '0';
    if (2 + n > length)
    {
        return false;
    }
    bool ok = false;
    // Nine digits at most, so the count always fits an int.
    const int m = QString::fromLatin1(bytes.mid(2, n)).toInt(&ok, 10);
    if (!ok || m < 0 || static_cast<qint64>(2) + n + m > length)
    {
        return false;
    }
    data.assign(bytes.constData() + 2 + n, bytes.constData() + 2 + n + m);
    return true;
}

bool isValidTimeString(const QString& text, double& seconds)
{
    static const QRegularExpression kTime(
        QStringLiteral("^([-+]?(?:\\d+\\.?\\d*|\\.\\d+)(?:[eE][-+]?\\d+)?)\\s*(s|ms|us|ns|ps)?$"));
    const QRegularExpressionMatch m = kTime.match(text.trimmed());
    if (!m.hasMatch())
    {
        return false;
    }
    bool ok = false;
    const double value = m.captured(1).toDouble(&ok);
    if (!ok)
    {
        return false;
    }
    const QString unit = m.captured(2);
    double factor = 1.0;
    if (unit == QLatin1String("ms"))
    {
        factor = 1e-3;
    }
    else if (unit == QLatin1String("us"))
    {
        factor = 1e-6;
    }
    else if (unit == QLatin1String("ns"))
    {
        factor = 1e-9;
    }
    else if (unit == QLatin1String("ps"))
    {
        factor = 1e-12;
    }
    seconds = value * factor;
    return true;
}

namespace
{
// One value and its accepted words; the last word given is the reply form.
struct WordEntry
{
    int value;
    const char* shortWord;
    const char* longWord;  // null when the value has one word
};

template <size_t N>
bool wordToValue(const WordEntry (&table)[N], const QString& text, int& value)
{
    for (const WordEntry& e : table)
    {
        if (text == QLatin1String(e.shortWord) ||
            (e.longWord != nullptr && text == QLatin1String(e.longWord)))
        {
            value = e.value;
            return true;
        }
    }
    return false;
}

template <size_t N>
QString valueToWord(const WordEntry (&table)[N], int value, const char* unknown)
{
    for (const WordEntry& e : table)
    {
        if (e.value == value)
        {
            return QLatin1String(e.longWord != nullptr ? e.longWord : e.shortWord);
        }
    }
    return QCoreApplication::translate("Scpi", unknown);
}

// Reads one parameter and converts it; the parameter is consumed either way.
template <size_t N>
bool readWord(Scpi* scpi, const WordEntry (&table)[N], int& value, const char* error)
{
    QString text;
    if (!scpi->GetNextParameterString(text, true))
    {
        return false;
    }
    if (!wordToValue(table, text.trimmed(), value))
    {
        SysErr::AddSystemError(InvalidParameter, QCoreApplication::translate("Scpi", error));
        return false;
    }
    return true;
}

// Enumerations with a real type go through an int and are cast back only on success.
template <typename E, size_t N>
bool wordToEnum(const WordEntry (&table)[N], const QString& text, E& value)
{
    int v = 0;
    if (!wordToValue(table, text, v))
    {
        return false;
    }
    value = static_cast<E>(v);
    return true;
}

template <typename E, size_t N>
bool readEnum(Scpi* scpi, const WordEntry (&table)[N], E& value, const char* error)
{
    int v = 0;
    if (!readWord(scpi, table, v, error))
    {
        return false;
    }
    value = static_cast<E>(v);
    return true;
}

const WordEntry kSweepMode[] = {
    {0, "hold", nullptr}, {1, "sing", "single"}, {2, "cont", "continuous"}};
const WordEntry kMarkerCoupling[] = {
    {0, "off", nullptr}, {1, "chan", "channel"}, {2, "all", nullptr}};
const WordEntry kMeas[] = {
    {0, "s11", nullptr}, {1, "s21", nullptr}, {2, "s12", nullptr}, {3, "s22", nullptr}};
const WordEntry kTraceFormat[] = {
    {0, "mlin", "mlinear"},   {1, "mlog", "mlogarithmic"}, {2, "rph", "rphase"},
    {3, "dph", "dphase"},     {4, "uph", "uphase"},        {5, "swr", nullptr},
    {6, "smit", "smith"},     {7, "sadm", "sadmittance"},  {8, "real", nullptr},
    {9, "imag", "imaginary"}, {10, "gdel", "gdelay"}};
const WordEntry kTraceHold[] = {{0, "off", nullptr}, {1, "min", "minimum"}, {2, "max", "maximum"}};
const WordEntry kTraceMathOp[] = {{0, "norm", "normal"},   {1, "div", "divide"},
                                  {2, "subt", "subtract"}, {3, "add", nullptr},
                                  {4, "mult", "multiply"}, {5, "data", nullptr}};
const WordEntry kReference[] = {{0, "int", "internal"}, {1, "ext", "external"}};
const WordEntry kMarkerType[] = {{0, "norm", "normal"}, {1, "fix", "fixed"}};
const WordEntry kMarkerFunction[] = {{0, "max", "maximum"},
                                     {1, "min", "minimum"},
                                     {2, "rpe", "rpeak"},
                                     {3, "lpe", "lpeak"},
                                     {4, "npe", "npeak"}};
const WordEntry kMarkerTracking[] = {{0, "off", nullptr}, {1, "max", "maximum"}};
const WordEntry kTransformType[] = {
    {0, "bpas", "bpass"}, {1, "lpst", "lpstep"}, {2, "lpim", "lpimpulse"}};
const WordEntry kTransformWindow[] = {
    {0, "min", "minimum"}, {1, "norm", "normal"}, {2, "max", "maximum"}, {3, "cust", "custom"}};
const WordEntry kTransformMarkerMode[] = {
    {0, "auto", nullptr}, {1, "refl", "reflection"}, {2, "tran", "transmission"}};
// "metrs" is the accepted and replied spelling; clients depend on it.
const WordEntry kTransformUnits[] = {
    {0, "time", nullptr}, {1, "metr", "metrs"}, {2, "feet", nullptr}, {3, "inch", "inches"}};
const WordEntry kGateType[] = {{0, "bpas", "bpass"}, {1, "notc", "notch"}};
const WordEntry kGateShape[] = {
    {0, "min", "minimum"}, {1, "norm", "normal"}, {2, "wide", nullptr}, {3, "max", "maximum"}};
const WordEntry kPowerConfig[] = {
    {0, "high", nullptr}, {1, "low", nullptr}, {2, "att", "atten"}, {3, "pow", "power"}};
const WordEntry kSweepType[] = {
    {0, "lin", "linear"}, {1, "log", "logarithmic"}, {2, "segm", "segment"}};
const WordEntry kTriggerScope[] = {{1, "all", nullptr}, {0, "act", "active"}};
const WordEntry kScaleCoupling[] = {{0, "off", nullptr}, {1, "plot", nullptr}, {2, "all", nullptr}};
const WordEntry kDataFormatWord[] = {{0, "asc", "ascii"}, {1, "real", nullptr}};
const WordEntry kByteOrder[] = {{0, "norm", "normal"}, {1, "swap", "swapped"}};
}  // namespace

bool stringToSweepMode(const QString& text, VNASweepMode::Mode& mode)
{
    return wordToEnum(kSweepMode, text, mode);
}
bool scpiParameterToSweepMode(Scpi* scpi, VNASweepMode::Mode& mode)
{
    return readEnum(scpi, kSweepMode, mode, QT_TRANSLATE_NOOP("Scpi", "Expected sweep mode"));
}
QString sweepModeToText(VNASweepMode::Mode mode)
{
    return valueToWord(kSweepMode, mode, QT_TRANSLATE_NOOP("Scpi", "Unknown sweep mode"));
}

bool stringToMarkerCouplingMethod(const QString& text, int& method)
{
    return wordToValue(kMarkerCoupling, text, method);
}
bool scpiParameterToMarkerCouplingMethod(Scpi* scpi, int& method)
{
    return readWord(scpi, kMarkerCoupling, method,
                    QT_TRANSLATE_NOOP("Scpi", "Expected marker coupling method"));
}
QString markerCouplingMethodToString(int method)
{
    return valueToWord(kMarkerCoupling, method,
                       QT_TRANSLATE_NOOP("Scpi", "Unknown marker coupling method"));
}

bool stringToMeas(const QString& text, VNATraceMeas& meas)
{
    return wordToEnum(kMeas, text, meas);
}
bool scpiParameterToMeas(Scpi* scpi, VNATraceMeas& meas)
{
    return readEnum(scpi, kMeas, meas, QT_TRANSLATE_NOOP("Scpi", "Expected measurement parameter"));
}

bool stringToTraceFormat(const QString& text, VNATraceFormat& format)
{
    return wordToEnum(kTraceFormat, text, format);
}
bool scpiParameterToTraceFormat(Scpi* scpi, VNATraceFormat& format)
{
    return readEnum(scpi, kTraceFormat, format, QT_TRANSLATE_NOOP("Scpi", "Expected trace format"));
}

bool stringToTraceHoldType(const QString& text, int& hold)
{
    return wordToValue(kTraceHold, text, hold);
}
bool scpiParameterToTraceHoldType(Scpi* scpi, int& hold)
{
    return readWord(scpi, kTraceHold, hold, QT_TRANSLATE_NOOP("Scpi", "Expected trace hold type"));
}
bool stringToTraceMathOp(const QString& text, int& op)
{
    return wordToValue(kTraceMathOp, text, op);
}
bool scpiParameterToTraceMathOp(Scpi* scpi, int& op)
{
    return readWord(scpi, kTraceMathOp, op,
                    QT_TRANSLATE_NOOP("Scpi", "Expected trace math operation"));
}
bool stringToReference(const QString& text, VNAReference& reference)
{
    return wordToEnum(kReference, text, reference);
}
bool scpiParameterToReference(Scpi* scpi, VNAReference& reference)
{
    return readEnum(scpi, kReference, reference, QT_TRANSLATE_NOOP("Scpi", "Expected reference"));
}
QString referenceToText(VNAReference reference)
{
    return valueToWord(kReference, reference, QT_TRANSLATE_NOOP("Scpi", "Unknown reference"));
}

bool stringToMarkerType(const QString& text, bool& fixed)
{
    int v = 0;
    if (!wordToValue(kMarkerType, text, v))
    {
        return false;
    }
    fixed = v != 0;
    return true;
}
bool scpiParameterToMarkerType(Scpi* scpi, bool& fixed)
{
    int v = 0;
    if (!readWord(scpi, kMarkerType, v, QT_TRANSLATE_NOOP("Scpi", "Expected marker type")))
    {
        return false;
    }
    fixed = v != 0;
    return true;
}
QString markerTypeToText(bool fixed)
{
    return valueToWord(kMarkerType, fixed ? 1 : 0, "");
}

bool stringToMarkerFunction(const QString& text, int& function)
{
    return wordToValue(kMarkerFunction, text, function);
}
bool scpiParameterToMarkerFunction(Scpi* scpi, int& function)
{
    return readWord(scpi, kMarkerFunction, function,
                    QT_TRANSLATE_NOOP("Scpi", "Expected marker function"));
}
QString markerFunctionToText(int function)
{
    return valueToWord(kMarkerFunction, function,
                       QT_TRANSLATE_NOOP("Scpi", "Unknown marker function"));
}

bool stringToMarkerTrackingFunction(const QString& text, int& function)
{
    return wordToValue(kMarkerTracking, text, function);
}
bool scpiParameterToMarkerTrackingFunction(Scpi* scpi, int& function)
{
    return readWord(scpi, kMarkerTracking, function,
                    QT_TRANSLATE_NOOP("Scpi", "Expected marker tracking function"));
}
QString markerTrackingFunctionToText(int function)
{
    return valueToWord(kMarkerTracking, function,
                       QT_TRANSLATE_NOOP("Scpi", "Unknown marker tracking function"));
}

bool stringToTransformType(const QString& text, int& type)
{
    return wordToValue(kTransformType, text, type);
}
bool scpiParameterToTransformType(Scpi* scpi, int& type)
{
    return readWord(scpi, kTransformType, type,
                    QT_TRANSLATE_NOOP("Scpi", "Expected transform type"));
}
QString transformTypeToText(int type)
{
    return valueToWord(kTransformType, type, QT_TRANSLATE_NOOP("Scpi", "Unknown transform type"));
}

bool stringToTransformWindow(const QString& text, int& window)
{
    return wordToValue(kTransformWindow, text, window);
}
bool scpiParameterToTransformWindow(Scpi* scpi, int& window)
{
    return readWord(scpi, kTransformWindow, window,
                    QT_TRANSLATE_NOOP("Scpi", "Expected transform window"));
}
QString transformWindowToText(int window)
{
    return valueToWord(kTransformWindow, window,
                       QT_TRANSLATE_NOOP("Scpi", "Unknown transform window"));
}

bool stringToTransformMarkerMode(const QString& text, int& mode)
{
    return wordToValue(kTransformMarkerMode, text, mode);
}
bool scpiParameterToTransformMarkerMode(Scpi* scpi, int& mode)
{
    return readWord(scpi, kTransformMarkerMode, mode,
                    QT_TRANSLATE_NOOP("Scpi", "Expected transform marker mode"));
}
QString transformMarkerModeToText(int mode)
{
    return valueToWord(kTransformMarkerMode, mode,
                       QT_TRANSLATE_NOOP("Scpi", "Unknown transform marker mode"));
}

bool stringToTransformUnits(const QString& text, int& units)
{
    return wordToValue(kTransformUnits, text, units);
}
bool scpiParameterToTransformUnits(Scpi* scpi, int& units)
{
    return readWord(scpi, kTransformUnits, units,
                    QT_TRANSLATE_NOOP("Scpi", "Expected transform units"));
}
QString transformUnitsToText(int units)
{
    return valueToWord(kTransformUnits, units,
                       QT_TRANSLATE_NOOP("Scpi", "Unknown transform units"));
}

bool stringToGateType(const QString& text, int& type)
{
    return wordToValue(kGateType, text, type);
}
bool scpiParameterToGateType(Scpi* scpi, int& type)
{
    return readWord(scpi, kGateType, type, QT_TRANSLATE_NOOP("Scpi", "Expected gate type"));
}
QString gateTypeToText(int type)
{
    return valueToWord(kGateType, type, QT_TRANSLATE_NOOP("Scpi", "Unknown gate type"));
}

bool stringToGateShape(const QString& text, int& shape)
{
    return wordToValue(kGateShape, text, shape);
}
bool scpiParameterToGateShape(Scpi* scpi, int& shape)
{
    return readWord(scpi, kGateShape, shape, QT_TRANSLATE_NOOP("Scpi", "Expected gate shape"));
}
QString gateShapeToText(int shape)
{
    return valueToWord(kGateShape, shape, QT_TRANSLATE_NOOP("Scpi", "Unknown gate shape"));
}

bool stringToPowerConfig(const QString& text, VNAPowerConfig& config)
{
    return wordToEnum(kPowerConfig, text, config);
}
bool scpiParameterToPowerConfig(Scpi* scpi, VNAPowerConfig& config)
{
    return readEnum(scpi, kPowerConfig, config, QT_TRANSLATE_NOOP("Scpi", "Expected power config"));
}
QString powerConfigToText(VNAPowerConfig config)
{
    return valueToWord(kPowerConfig, config, QT_TRANSLATE_NOOP("Scpi", "Unknown power config"));
}

bool stringToSweepType(const QString& text, VNASweepType& type)
{
    return wordToEnum(kSweepType, text, type);
}
bool scpiParameterToSweepType(Scpi* scpi, VNASweepType& type)
{
    return readEnum(scpi, kSweepType, type, QT_TRANSLATE_NOOP("Scpi", "Expected sweep type"));
}
QString sweepTypeToText(VNASweepType type)
{
    return valueToWord(kSweepType, type, QT_TRANSLATE_NOOP("Scpi", "Unknown sweep type"));
}

bool stringToTriggerScope(const QString& text, bool& allChannels)
{
    int v = 0;
    if (!wordToValue(kTriggerScope, text, v))
    {
        return false;
    }
    allChannels = v != 0;
    return true;
}
bool scpiParameterToTriggerScope(Scpi* scpi, bool& allChannels)
{
    int v = 0;
    if (!readWord(scpi, kTriggerScope, v, QT_TRANSLATE_NOOP("Scpi", "Expected trigger scope")))
    {
        return false;
    }
    allChannels = v != 0;
    return true;
}
QString triggerScopeToText(bool allChannels)
{
    return valueToWord(kTriggerScope, allChannels ? 1 : 0, "");
}

bool stringToTraceScaleCoupling(const QString& text, int& coupling)
{
    return wordToValue(kScaleCoupling, text, coupling);
}
bool scpiParameterToTraceScaleCoupling(Scpi* scpi, int& coupling)
{
    return readWord(scpi, kScaleCoupling, coupling,
                    QT_TRANSLATE_NOOP("Scpi", "Expected trace scale coupling"));
}
int ScpiParamToErrTerm(const QString& text, bool& ok)
{
    static const char* const kTerms[] = {"edf", "esf", "erf", "elf", "etf", "exf",
                                         "edr", "esr", "err", "elr", "etr", "exr"};
    for (int i = 0; i < 12; ++i)
    {
        if (text == QLatin1String(kTerms[i]))
        {
            ok = true;
            return i;
        }
    }
    ok = false;
    return 0;
}

bool stringToDataFormat(const QString& word, const QString& length, ScpiDataFormat& format)
{
    int kind = 0;
    if (!wordToValue(kDataFormatWord, word, kind))
    {
        return false;
    }
    if (kind == 0)
    {
        // A length after ASCii (as in "ASC,0") is accepted and means nothing.
        format = ScpiDataFormat::Ascii;
        return true;
    }
    if (length.isEmpty() || length == QLatin1String("64"))
    {
        format = ScpiDataFormat::Real64;
        return true;
    }
    if (length == QLatin1String("32"))
    {
        format = ScpiDataFormat::Real32;
        return true;
    }
    return false;
}
bool scpiParameterToDataFormat(Scpi* scpi, ScpiDataFormat& format)
{
    QString word;
    if (!scpi->GetNextParameterString(word, true))
    {
        return false;
    }
    QString length;
    if (scpi->ParameterCount() > 0)
    {
        scpi->GetNextParameterString(length, true);
    }
    if (!stringToDataFormat(word.trimmed(), length.trimmed(), format))
    {
        SysErr::AddSystemError(InvalidParameter,
                               QCoreApplication::translate("Scpi", "Expected data format"));
        return false;
    }
    return true;
}
QString dataFormatToText(ScpiDataFormat format)
{
    switch (format)
    {
        case ScpiDataFormat::Ascii:
            return QStringLiteral("ascii");
        case ScpiDataFormat::Real32:
            return QStringLiteral("real,32");
        case ScpiDataFormat::Real64:
            return QStringLiteral("real,64");
    }
    return QString();
}

bool stringToByteOrder(const QString& text, bool& swapped)
{
    int v = 0;
    if (!wordToValue(kByteOrder, text, v))
    {
        return false;
    }
    swapped = v != 0;
    return true;
}
bool scpiParameterToByteOrder(Scpi* scpi, bool& swapped)
{
    int v = 0;
    if (!readWord(scpi, kByteOrder, v, QT_TRANSLATE_NOOP("Scpi", "Expected byte order")))
    {
        return false;
    }
    swapped = v != 0;
    return true;
}
QString byteOrderToText(bool swapped)
{
    return valueToWord(kByteOrder, swapped ? 1 : 0, "");
}
