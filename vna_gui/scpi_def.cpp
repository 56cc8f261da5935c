#include "scpi_def.h"

#include <charconv>

#include <QCoreApplication>
#include <QIODevice>
#include <QLoggingCategory>
#include <QRegularExpression>
#include <QVarLengthArray>
#include <QVariant>
#include <QtDebug>
#include <QtEndian>
#include <algorithm>
#include <cstring>
#include <utility>

#include "error_log.h"
#include "scpi_parameters.h"

const char* const scpiStrSuffixMissing = QT_TRANSLATE_NOOP("Scpi", "Expected suffix");
const char* const scpiStrInvalidSuffix = QT_TRANSLATE_NOOP("Scpi", "Invalid suffix");
const char* const scpiStrInvalidChannelNumber = QT_TRANSLATE_NOOP("Scpi", "Invalid channel number");
const char* const scpiStrInvalidMeasNumber =
    QT_TRANSLATE_NOOP("Scpi", "Invalid measurement number");
const char* const scpiStrInvalidWindowNumber = QT_TRANSLATE_NOOP("Scpi", "Invalid window number");
const char* const scpiStrChannelNotActive =
    QT_TRANSLATE_NOOP("Scpi", "Selected channel not enabled");

const char* const UnitStrU = "";
const char* const UnitStrLogMag = "dB";
const char* const UnitStrPhaseRad = "rad";
const char* const UnitStrPhaseDeg = "\xc2\xb0";
const char* const UnitStrGroupDelay = "ns";

namespace
{
QString tr(const char* text)
{
    return QCoreApplication::translate("Scpi", text);
}

// The per-command debug lines cost more than the parse itself; format them only when shown.
bool debugShown()
{
    return QLoggingCategory::defaultCategory()->isDebugEnabled();
}

void queueError(int code, const char* text)
{
    SysErr::AddSystemError(code, tr(text));
}
}  // namespace

QList<ScpiKeyword> buildCommandTree(const QString& pattern)
{
    static const QRegularExpression kLower(QStringLiteral("[a-z]"));
    QString text = pattern;
    const bool query = text.endsWith(QLatin1Char('?'));
    if (query)
    {
        text.chop(1);
    }
    QList<ScpiKeyword> keywords;
    const QStringList parts = text.split(QLatin1Char(':'), Qt::SkipEmptyParts);
    for (QString part : parts)
    {
        ScpiKeyword k;
        if (part.startsWith(QLatin1Char('&')))
        {
            part.remove(0, 1);
            k.optional = true;
        }
        if (part.endsWith(QLatin1Char('#')))
        {
            part.chop(1);
            k.hasSuffix = true;
        }
        QString shortForm = part;
        shortForm.remove(kLower);
        k.shortForm = shortForm.toLower();
        k.longForm = part.toLower();
        keywords.append(k);
    }
    if (query)
    {
        ScpiKeyword q;
        q.shortForm = QStringLiteral("?");
        q.longForm = QStringLiteral("?");
        keywords.append(q);
    }
    return keywords;
}

QStringList scpiCommandToPath(const ScpiCallbackList& command)
{
    QStringList path;
    int count = command.keywords.size();
    if (count > 0 && command.keywords.last().longForm == QLatin1String("?"))
    {
        --count;
    }
    for (int i = 0; i < count - 1; ++i)
    {
        path.append(command.keywords[i].shortForm);
    }
    return path;
}

Scpi::Token Scpi::splitToken(const QString& text)
{
    Token t;
    t.word = text.toLower();
    int end = t.word.size();
    while (end > 0 && t.word[end - 1] >= QLatin1Char('0') && t.word[end - 1] <= QLatin1Char('9'))
    {
        --end;
    }
    if (end < t.word.size())
    {
        t.hasDigits = true;
        // An overlong number gives 0, as toInt does.
        t.suffix = t.word.midRef(end).toInt(nullptr, 10);
        t.word.truncate(end);
    }
    return t;
}

bool Scpi::matchTokens(const QVector<Token>& tokens, const QList<ScpiKeyword>& keywords,
                       QList<int>& suffixes)
{
    // Suffixes are gathered aside and handed over only on a match: most rows fail late.
    QVarLengthArray<int, 8> found;
    int k = 0;
    int t = 0;
    for (;;)
    {
        if (t == tokens.size())
        {
            for (; k < keywords.size(); ++k)
            {
                if (!keywords[k].optional)
                {
                    return false;
                }
            }
            for (int s : found)
            {
                suffixes.append(s);
            }
            return true;
        }
        if (k == keywords.size())
        {
            return false;
        }
        const Token& token = tokens[t];
        const ScpiKeyword& keyword = keywords[k];
        // Digits on a keyword that takes none never match, even an optional one.
        if (token.hasDigits && !keyword.hasSuffix)
        {
            return false;
        }
        if (token.word == keyword.shortForm || token.word == keyword.longForm)
        {
            if (keyword.hasSuffix)
            {
                found.append(token.suffix);
            }
            ++t;
            ++k;
        }
        else if (keyword.optional)
        {
            ++k;
        }
        else
        {
            return false;
        }
    }
}

namespace
{
// Path first, then the header's tokens; a trailing "?" becomes a token of its own.
QStringList headerTokens(const QString& header, const QStringList& path)
{
    QStringList tokens = path;
    tokens.append(header.split(QLatin1Char(':'), Qt::SkipEmptyParts));
    if (!tokens.isEmpty() && tokens.last().endsWith(QLatin1Char('?')))
    {
        tokens.last().chop(1);
        tokens.append(QStringLiteral("?"));
    }
    return tokens;
}
}  // namespace

bool matchCommand(const QString& header, const QList<ScpiKeyword>& keywords,
                  const QStringList& path, QList<int>& suffixes)
{
    QVector<Scpi::Token> tokens;
    for (const QString& s : headerTokens(header, path))
    {
        tokens.append(Scpi::splitToken(s));
    }
    const bool matched = Scpi::matchTokens(tokens, keywords, suffixes);
    if (matched && debugShown())
    {
        qDebug() << "Received command " << header;
    }
    return matched;
}

namespace
{
std::shared_ptr<const ScpiCompiledTable> CompileTable(const ScpiCommand* rows, int count)
{
    auto table = std::make_shared<ScpiCompiledTable>();
    table->commands.reserve(count);
    for (int i = 0; i < count; ++i)
    {
        ScpiCallbackList c;
        c.keywords = buildCommandTree(QString::fromLatin1(rows[i].pattern));
        c.id = rows[i].id;
        table->commands.append(c);
    }
    for (int i = 0; i < table->commands.size(); ++i)
    {
        const QList<ScpiKeyword>& k = table->commands[i].keywords;
        if (k.isEmpty() || k.first().optional)
        {
            table->rowsByFirstWord.clear();
            break;
        }
        table->rowsByFirstWord[k.first().shortForm].append(i);
        if (k.first().longForm != k.first().shortForm)
        {
            table->rowsByFirstWord[k.first().longForm].append(i);
        }
    }
    return table;
}
}  // namespace

Scpi::Scpi()
{
    // Compiled once for the process: every connection gets an interpreter of its own.
    static const std::shared_ptr<const ScpiCompiledTable> program =
        CompileTable(scpiCommands, scpiCommandCount());
    table = program;
}

void Scpi::SetCommands(const ScpiCommand* rows, int count)
{
    table = CompileTable(rows, count);
}

template <typename Work>
void Scpi::guarded(Work work)
{
    try
    {
        work();
    }
    catch (...)
    {
        // A failing body ends its line; what the line had gathered goes with it.
        parameters.clear();
        suffixes.clear();
        commandReply.clear();
        lineReply.clear();
        heldParts.clear();
        held = false;
    }
}

void Scpi::SubmitInput(const QString& text)
{
    if (held)
    {
        // Behind a held command: kept, in order, for Release.
        heldInput.append(text);
        return;
    }
    int start = 0;
    const int n = text.size();
    for (int i = 0; i < n && !discarded; ++i)
    {
        const ushort c = text[i].unicode();
        if (c != 10 && c != 13)
        {
            continue;
        }
        appendToLine(text.midRef(start, i - start));
        start = i + 1;
        if (c == 13)
        {
            continue;  // carriage returns are dropped wherever they stand
        }
        const QString line = lineBuffer;
        lineBuffer.clear();
        if (skippingLine)
        {
            skippingLine = false;
            continue;
        }
        if (log != nullptr && log->Recording())
        {
            log->AddCommand(line, false);
        }
        guarded([&] { Input(line); });
        if (held)
        {
            heldInput = text.mid(start);
            return;
        }
    }
    if (!discarded)
    {
        appendToLine(text.midRef(start, n - start));
    }
}

void Scpi::Release()
{
    if (!held || discarded)
    {
        return;
    }
    held = false;
    QStringList parts;
    parts.swap(heldParts);
    guarded([&] { runParts(parts); });
    if (held)
    {
        return;  // waiting again; the input behind stays where it is
    }
    QString input;
    input.swap(heldInput);
    SubmitInput(input);
}

void Scpi::appendToLine(const QStringRef& text)
{
    if (skippingLine)
    {
        return;
    }
    if (lineBuffer.size() + text.size() > kMaxLineLength)
    {
        lineBuffer.clear();
        skippingLine = true;
        SysErr::AddSystemError(CommandLineError, tr("Line too long: dropped up to its line feed"));
        return;
    }
    lineBuffer.append(text);
}

void Scpi::Discard()
{
    discarded = true;
    lineBuffer.clear();
    heldParts.clear();
    heldInput.clear();
}

void Scpi::Input(const QString& line)
{
    runParts(line.split(QLatin1Char(';'), Qt::SkipEmptyParts));
}

void Scpi::runParts(const QStringList& parts)
{
    QStringList path;
    for (int i = 0; i < parts.size(); ++i)
    {
        runPart(parts[i], path);
        CommitReply();
        if (held)
        {
            // A held command is a common one: what follows it starts from an empty path.
            heldParts = parts.mid(i + 1);
            return;
        }
    }
    FlushReply();
}

const ScpiCallbackList* Scpi::findRow(const QVector<Token>& tokens,
                                      QList<int>& matchedSuffixes) const
{
    const ScpiCallbackList* found = nullptr;
    auto tryRow = [&](const ScpiCallbackList& c)
    {
        matchedSuffixes.clear();
        if (matchTokens(tokens, c.keywords, matchedSuffixes))
        {
            found = &c;
        }
        return found != nullptr;
    };
    if (table->rowsByFirstWord.isEmpty())
    {
        for (const ScpiCallbackList& c : table->commands)
        {
            if (tryRow(c))
            {
                break;
            }
        }
    }
    else if (!tokens.isEmpty())
    {
        const auto rows = table->rowsByFirstWord.constFind(tokens.first().word);
        if (rows != table->rowsByFirstWord.constEnd())
        {
            for (int row : *rows)
            {
                if (tryRow(table->commands.at(row)))
                {
                    break;
                }
            }
        }
    }

    return found;
}

void Scpi::runPart(const QString& rawPart, QStringList& path)
{
    // Header up to the first space, parameters behind it.
    const QString part = rawPart.trimmed();
    const QString header = part.section(QLatin1Char(' '), 0, 0).trimmed();
    const int space = part.indexOf(QLatin1Char(' '));
    const QString rest = space < 0 ? QString() : part.mid(space + 1);

    if (header.startsWith(QLatin1Char(':')) || header.startsWith(QLatin1Char('*')))
    {
        path.clear();
    }

    QVector<Token> tokens;
    for (const QString& s : headerTokens(header, path))
    {
        tokens.append(splitToken(s));
    }
    QList<int> matchedSuffixes;
    const ScpiCallbackList* found = findRow(tokens, matchedSuffixes);
    if (found == nullptr)
    {
        SysErr::AddSystemError(UndefinedHeader, header);
    }
    else
    {
        if (debugShown())
        {
            qDebug() << "Received command " << header;
        }
        QStringList params = rest.split(QLatin1Char(','), Qt::KeepEmptyParts);
        for (QString& p : params)
        {
            p = p.trimmed();
        }
        if (params.size() == 1 && params.first().isEmpty())
        {
            params.clear();
        }
        parameters = params;
        suffixes = matchedSuffixes;
        commandId = found->id;
        commandHeader = header;
        if (debugShown())
        {
            qDebug() << "# of params: " << parameters.size();
            qDebug() << "# of command numeric suffixes: " << suffixes.size();
        }
        if (callback)
        {
            callback(this);
        }
        parameters.clear();
        path = scpiCommandToPath(*found);
    }
}

bool Scpi::GetNextParameterString(QString& value, bool toLower)
{
    if (parameters.isEmpty())
    {
        queueError(TooFewParameters, QT_TRANSLATE_NOOP("Scpi", "Expected parameter"));
        return false;
    }
    value = parameters.takeFirst();
    if (toLower)
    {
        value = value.toLower();
    }
    return true;
}

bool Scpi::GetNextParameterStringNoError(QString& value)
{
    if (parameters.isEmpty())
    {
        return false;
    }
    value = parameters.first();
    return true;
}

bool Scpi::GetNextParameterInt(int& value, bool required)
{
    if (parameters.isEmpty())
    {
        if (required)
        {
            queueError(TooFewParameters, QT_TRANSLATE_NOOP("Scpi", "Expected parameter"));
        }
        return false;
    }
    bool ok = false;
    const int v = scpiParameterToInt(parameters.first(), ok);
    if (!ok)
    {
        queueError(InvalidParameter, QT_TRANSLATE_NOOP("Scpi", "Expected integer parameter"));
        return false;
    }
    parameters.removeFirst();
    value = v;
    return true;
}

// The typed readers share one shape: -3 when nothing is left, -2 when the text does not convert,
// and the parameter is consumed only on success.
template <typename T, typename Convert>
bool Scpi::readTyped(T& value, Convert convert, const char* errorText)
{
    if (parameters.isEmpty())
    {
        queueError(TooFewParameters, QT_TRANSLATE_NOOP("Scpi", "Expected parameter"));
        return false;
    }
    bool ok = false;
    T v = convert(parameters.first(), ok);
    if (!ok)
    {
        queueError(InvalidParameter, errorText);
        return false;
    }
    parameters.removeFirst();
    value = std::move(v);
    return true;
}

bool Scpi::GetNextParameterBool(bool& value)
{
    return readTyped(value, scpiParameterToBool,
                     QT_TRANSLATE_NOOP("Scpi", "Expected boolean parameter"));
}

bool Scpi::GetNextParameterDouble(double& value)
{
    return readTyped(value, scpiParameterToDouble,
                     QT_TRANSLATE_NOOP("Scpi", "Expected floating point parameter"));
}

bool Scpi::GetNextParameterFreq(double& value)
{
    return readTyped(value, scpiParameterToFreq,
                     QT_TRANSLATE_NOOP("Scpi", "Expected frequency parameter"));
}

bool Scpi::GetNextParameterTime(double& value)
{
    auto toTime = [](const QString& text, bool& ok)
    {
        double seconds = 0.0;
        ok = isValidTimeString(text.toLower(), seconds);
        return seconds;
    };
    return readTyped(value, toTime, QT_TRANSLATE_NOOP("Scpi", "Expected time parameter"));
}

bool Scpi::GetNextParameterFileName(QString& value)
{
    return readTyped(value, scpiParameterToFileName,
                     QT_TRANSLATE_NOOP("Scpi", "Invalid file name format"));
}

bool Scpi::GetNextParameterBinary(std::vector<unsigned char>& value)
{
    auto toBinary = [](const QString& text, bool& ok)
    {
        std::vector<unsigned char> data;
        ok = scpiParameterToBinary(text, data);
        return data;
    };
    return readTyped(value, toBinary, QT_TRANSLATE_NOOP("Scpi", "Expected binary parameter"));
}

bool Scpi::GetNextParameterHexString(QString& value)
{
    // Only the character range is checked: any Latin-1 text passes.
    auto toLatin1Upper = [](const QString& text, bool& ok)
    {
        const QString upper = text.toUpper();
        ok = std::all_of(upper.begin(), upper.end(), [](QChar c) { return c.unicode() <= 0xff; });
        return upper;
    };
    return readTyped(value, toLatin1Upper, QT_TRANSLATE_NOOP("Scpi", "Expected hex string"));
}

bool Scpi::nextParameterMatches(const char* shortWord, const char* longWord) const
{
    if (parameters.isEmpty())
    {
        return false;
    }
    const QString t = parameters.first().trimmed().toLower();
    return t == QLatin1String(shortWord) || (longWord != nullptr && t == QLatin1String(longWord));
}

bool Scpi::IsNextParameterMin() const
{
    return nextParameterMatches("min", "minimum");
}

bool Scpi::IsNextParameterMax() const
{
    return nextParameterMatches("max", "maximum");
}

bool Scpi::IsNextParameterUp() const
{
    return nextParameterMatches("up", nullptr);
}

bool Scpi::IsNextParameterDown() const
{
    return nextParameterMatches("down", nullptr);
}

QStringList Scpi::GetParameters()
{
    QStringList all;
    all.swap(parameters);
    return all;
}

QList<int> Scpi::GetIntParameters()
{
    QList<int> values;
    for (const QString& p : parameters)
    {
        bool ok = false;
        const int v = p.toInt(&ok, 10);
        if (!ok)
        {
            break;
        }
        values.append(v);
    }
    parameters.clear();
    return values;
}

bool Scpi::GetNextCommandSuffix(int& value, int defaultValue)
{
    value = defaultValue;
    if (suffixes.isEmpty())
    {
        return false;
    }
    const int s = suffixes.takeFirst();
    if (s != -1)
    {
        value = s;
    }
    return true;
}

void Scpi::appendSeparator()
{
    if (!commandReply.isEmpty())
    {
        commandReply.append(',');
    }
}

void Scpi::SubmitReply(const QString& text)
{
    appendSeparator();
    commandReply.append(text.toUtf8());
}

void Scpi::SubmitReply(const char* text)
{
    appendSeparator();
    commandReply.append(text);
}

void Scpi::SubmitReply(int value)
{
    appendSeparator();
    commandReply.append(QVariant(value).toString().toUtf8());
}

void Scpi::SubmitReply(double value)
{
    appendSeparator();
    commandReply.append(QVariant(value).toString().toUtf8());
}

void Scpi::SubmitReply(bool value)
{
    appendSeparator();
    commandReply.append(value ? '1' : '0');
}

namespace
{
// Writes numbers as printf's "%.10g" would, joined by ",", straight into the reply's storage:
// a 64001-point trace is one reply of some 2.5 MB, so per-value appends would dominate.
class NumberWriter
{
public:
    // Room for the longest "%.10g" text ("-1.234567891e-308") and its comma.
    static constexpr int kRoom = 24;

    NumberWriter(QByteArray& out, int values) : out(out), start(out.size())
    {
        out.resize(start + kRoom * values);
        p = out.data() + start;
        end = out.data() + out.size();
    }
    ~NumberWriter() { out.resize(int(p - out.constData())); }

    void Put(double v)
    {
        if (p != out.constData() + start)
        {
            *p++ = ',';
        }
        p = std::to_chars(p, end, v, std::chars_format::general, 10).ptr;
    }

private:
    QByteArray& out;
    const int start;
    char* p = nullptr;
    char* end = nullptr;
};
}  // namespace

void Scpi::SubmitReply(const QVector<double>& values)
{
    NumberWriter w(commandReply, values.size());
    for (double v : values)
    {
        w.Put(v);
    }
}

void Scpi::SubmitReply(const QVector<double>& x, const QVector<double>& y)
{
    const int n = std::min(x.size(), y.size());
    NumberWriter w(commandReply, 2 * n);
    for (int i = 0; i < n; ++i)
    {
        w.Put(x[i]);
        w.Put(y[i]);
    }
}

void Scpi::SubmitReply(const QVector<std::complex<double>>& values)
{
    NumberWriter w(commandReply, 2 * values.size());
    for (const std::complex<double>& v : values)
    {
        w.Put(v.real());
        w.Put(v.imag());
    }
}

namespace
{
// Writes values into a block as IEEE floats of one width and byte order, straight into the
// reply's storage: no text per value.
template <typename Float, typename Bits>
class BlockValues
{
public:
    BlockValues(char* out, bool swapped) : p(out), swapped(swapped) {}
    void Put(double v)
    {
        const Float f = static_cast<Float>(v);
        Bits bits;
        std::memcpy(&bits, &f, sizeof bits);
        bits = swapped ? qToLittleEndian(bits) : qToBigEndian(bits);
        std::memcpy(p, &bits, sizeof bits);
        p += sizeof bits;
    }

private:
    char* p;
    const bool swapped;
};

// Runs put(writer) with the writer of the format; put calls writer.Put for every value.
template <typename Put>
void WriteBlockValues(char* out, ScpiDataFormat format, bool swapped, Put put)
{
    if (format == ScpiDataFormat::Real32)
    {
        BlockValues<float, quint32> w(out, swapped);
        put(w);
    }
    else
    {
        BlockValues<double, quint64> w(out, swapped);
        put(w);
    }
}
}  // namespace

char* Scpi::startBlock(int count)
{
    const qint64 bytes = qint64(count) * (dataFormat == ScpiDataFormat::Real32 ? 4 : 8);
    const QByteArray length = QByteArray::number(bytes);
    commandReply.append('#');
    commandReply.append(char('0' + length.size()));
    commandReply.append(length);
    const int start = commandReply.size();
    commandReply.resize(start + int(bytes));
    return commandReply.data() + start;
}

void Scpi::SubmitData(double value)
{
    if (!BinaryData())
    {
        SubmitReply(value);
        return;
    }
    SubmitData(QVector<double>{value});
}

void Scpi::SubmitData(const QVector<double>& values)
{
    if (!BinaryData())
    {
        SubmitReply(values);
        return;
    }
    char* out = startBlock(values.size());
    WriteBlockValues(out, dataFormat, swappedBytes,
                     [&](auto& w)
                     {
                         for (double v : values)
                         {
                             w.Put(v);
                         }
                     });
}

void Scpi::SubmitData(const QVector<double>& x, const QVector<double>& y)
{
    if (!BinaryData())
    {
        SubmitReply(x, y);
        return;
    }
    const int n = std::min(x.size(), y.size());
    char* out = startBlock(2 * n);
    WriteBlockValues(out, dataFormat, swappedBytes,
                     [&](auto& w)
                     {
                         for (int i = 0; i < n; ++i)
                         {
                             w.Put(x[i]);
                             w.Put(y[i]);
                         }
                     });
}

void Scpi::SubmitData(const QVector<std::complex<double>>& values)
{
    if (!BinaryData())
    {
        SubmitReply(values);
        return;
    }
    char* out = startBlock(2 * values.size());
    WriteBlockValues(out, dataFormat, swappedBytes,
                     [&](auto& w)
                     {
                         for (const std::complex<double>& v : values)
                         {
                             w.Put(v.real());
                             w.Put(v.imag());
                         }
                     });
}

void Scpi::CommitReply()
{
    // A silent command after an answered one still leaves its (empty) place.
    if (lineReply.isEmpty())
    {
        // The common case of one query per line: no copy of a long data reply.
        lineReply.swap(commandReply);
        return;
    }
    lineReply.append(';');
    lineReply.append(commandReply);
    commandReply.clear();
}

void Scpi::FlushReply()
{
    if (lineReply.isEmpty())
    {
        return;
    }
    SendLine(lineReply);
    lineReply.resize(0);
}

void Scpi::SendLine(const QByteArray& text)
{
    if (socket == nullptr)
    {
        return;
    }
    if (log != nullptr && log->Recording())
    {
        log->AddCommand(QString::fromUtf8(text).trimmed(), true);
    }
    socket->write(text);
    socket->write("\n", 1);
    if (debugShown())
    {
        // A data block is megabytes: quoting it into the debug log took longer than building it.
        constexpr int kShown = 200;
        if (text.size() <= kShown)
        {
            qDebug() << "Reply Sent: " << text;
        }
        else
        {
            qDebug() << "Reply Sent: " << text.left(kShown) << "..." << text.size() << "bytes";
        }
    }
}

QString scpiCommandReference(const std::function<QString(int id)>& status)
{
    QString out;
    out += QStringLiteral("# Remote command reference\n\n");
    out += QStringLiteral(
        "Generated from the command table by `gen_scpi_doc`; do not edit by hand.\n\n"
        "Pattern notation: upper-case letters are the short form, the whole word the long form "
        "(case is ignored); `&` marks an optional keyword; `#` allows a numeric suffix "
        "(`SENS2`); a final `?` makes a query.\n\n");
    out += QStringLiteral(
        "A line holds commands separated by `;`; a header without a leading `:` or `*` continues "
        "the keywords of the previous command of the line, without its suffixes. Parameters "
        "follow the header after a space and are separated by `,`. Replies of one line are "
        "joined by `;` and end with a line feed. Errors are never answered inline: read them "
        "with `:SYSTem:ERRor:NEXT?`.\n\n"
        "Parameter forms:\n\n"
        "- bool: `ON`, `OFF`, `1`, `0`.\n"
        "- int, double: plain decimal numbers.\n"
        "- frequency: a number with an optional unit `Hz`, `kHz`, `MHz`, `GHz` (also `h`, `k`, "
        "`m`, `g`, `kh`, `mh`, `gh`); an exponent is a single digit without sign and cannot be "
        "combined with a unit (`1e9` works, `1e10` and `1e9Hz` do not).\n"
        "- time: a number with an optional unit `s`, `ms`, `us`, `ns`, `ps`.\n"
        "- file name: in double quotes; it cannot contain `,` or `;`.\n"
        "- words: the short or the long form, case ignored; replies give the long form.\n\n"
        "A missing parameter queues -3 \"Expected parameter\"; a malformed one -2 with the "
        "reader's text; an unknown header -4.\n\n"
        "Suffixes: the first is the channel (1 to 8, 1 when not written), the second the "
        "measurement of that channel (required), the third the marker (1 to 16, 1 when not "
        "written); a window suffix (1 to 32) is required. A bad or missing number queues -7 and "
        "the command does nothing; a query then answers nothing.\n\n");
    out += QStringLiteral(
        "Status: \"built\" when the program carries out the command; \"not yet\" names the feature "
        "it waits for, and such a command queues -5 \"Unsupported\" with its header.\n\n");
    out +=
        QStringLiteral(
            "Extension: \"yes\" marks the commands this program adds to the original set (ids from "
            "%1): the data format of the data queries (`:FORMat`) and the IEEE 488.2 status model "
            "(`*CLS`, `*ESE`, `*ESR?`, `*SRE`, `*STB?`, `*OPC`, `*WAI`, `*TST?`). In a REAL format "
            "the data queries (`DATA:X?`, `FDATA?`, `SDATA?`, `RDATA?`, `RCVR?`, marker `X?` and "
            "`Y?`, `BWIDth:DATA?`, `CSET:ETERm?`) answer one IEEE 488.2 definite-length block "
            "`#<n><length><bytes>` of the numbers the ASCII reply lists, in the same order, "
            "followed "
            "by the line feed.\n\n")
            .arg(kScpiFirstExtensionId);
    out += QStringLiteral("%1 commands.\n\n").arg(scpiCommandCount());
    out += QStringLiteral("| Id | Header | Query | Extension | Parameters | Reply | Status |\n");
    out += QStringLiteral("|---:|---|---|---|---|---|---|\n");
    auto cell = [](const char* text)
    {
        const QString s = QString::fromUtf8(text);
        return s.isEmpty() ? QStringLiteral("-")
                           : QString(s).replace(QLatin1Char('|'), QStringLiteral("\\|"));
    };
    for (int i = 0; i < scpiCommandCount(); ++i)
    {
        const ScpiCommand& c = scpiCommands[i];
        const QString pattern = QString::fromLatin1(c.pattern);
        // Concatenated, not arg()-chained: descriptions may hold "%" texts.
        out += QStringLiteral("| ") + QString::number(c.id) + QStringLiteral(" | `") + pattern +
               QStringLiteral("` | ") +
               (pattern.endsWith(QLatin1Char('?')) ? QStringLiteral("yes") : QStringLiteral("no")) +
               QStringLiteral(" | ") +
               (scpiIsExtension(c.id) ? QStringLiteral("yes") : QStringLiteral("no")) +
               QStringLiteral(" | ") + cell(c.parameters) + QStringLiteral(" | ") + cell(c.reply) +
               QStringLiteral(" | ") + status(c.id) + QStringLiteral(" |\n");
    }
    return out;
}
