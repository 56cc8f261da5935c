// The remote-control language: line assembly, command matching against the command table,
// parameter readers and the reply buffers. It knows nothing of measurements; the command bodies
// live behind the callback.
#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVector>
#include <complex>
#include <functional>
#include <memory>
#include <vector>

class QIODevice;

// One row of the command table. The two description columns feed the generated reference.
struct ScpiCommand
{
    const char* pattern;
    int id;
    const char* parameters;  // what the body reads, in order; empty when nothing
    const char* reply;       // what a query answers; empty for setters
};

// The whole table, in id order.
extern const ScpiCommand scpiCommands[];
int scpiCommandCount();

// One level of a compiled pattern.
struct ScpiKeyword
{
    QString shortForm;
    QString longForm;
    bool optional = false;
    bool hasSuffix = false;
};

// One compiled command.
struct ScpiCallbackList
{
    QList<ScpiKeyword> keywords;
    int id = 0;
};

QList<ScpiKeyword> buildCommandTree(const QString& pattern);
// Short forms of a command's keywords, without the query keyword and without the last keyword:
// where a following relative header starts.
QStringList scpiCommandToPath(const ScpiCallbackList& command);
bool matchCommand(const QString& header, const QList<ScpiKeyword>& keywords,
                  const QStringList& path, QList<int>& suffixes);

// The Markdown reference of the command table (the source of docs/scpi.md). The status column
// says, per command id, whether the program implements it.
QString scpiCommandReference(const std::function<QString(int id)>& status);

// A command table compiled into keyword lists, with rows indexed by the forms of their first
// keyword so a header is tried only against rows that can match it. The index is empty when
// some row's first keyword is optional.
struct ScpiCompiledTable
{
    QVector<ScpiCallbackList> commands;
    QHash<QString, QVector<int>> rowsByFirstWord;
};

// Rows from this id on are this program's additions to the original command set.
constexpr int kScpiFirstExtensionId = 277;
inline bool scpiIsExtension(int id)
{
    return id >= kScpiFirstExtensionId;
}

// How data queries answer: "%.10g" text lists, or one definite-length block of IEEE floats.
enum class ScpiDataFormat
{
    Ascii,
    Real32,
    Real64
};

// Where the command log goes; the log window implements it.
class ScpiLogSink
{
public:
    virtual ~ScpiLogSink() = default;
    // False when nothing would be kept: the caller then skips building the text.
    virtual bool Recording() const { return true; }
    virtual void AddCommand(const QString& text, bool isReply) = 0;
};

// Error details shared by all command bodies.
extern const char* const scpiStrSuffixMissing;
extern const char* const scpiStrInvalidSuffix;
extern const char* const scpiStrInvalidChannelNumber;
extern const char* const scpiStrInvalidMeasNumber;
extern const char* const scpiStrInvalidWindowNumber;
extern const char* const scpiStrChannelNotActive;

// Unit texts of the formats.
extern const char* const UnitStrU;
extern const char* const UnitStrLogMag;
extern const char* const UnitStrPhaseRad;
extern const char* const UnitStrPhaseDeg;
extern const char* const UnitStrGroupDelay;

// One client's interpreter: its line buffer, the command being run and the replies gathered for
// the line. Every connection has its own; they share the compiled command table.
class Scpi
{
public:
    // Longest line kept: far beyond any command, so that a client sending without line feeds
    // cannot make the buffer grow without end.
    static constexpr int kMaxLineLength = 16 * 1024 * 1024;

    Scpi();

    void SetCallbackFunction(std::function<void(Scpi*)> fn) { callback = std::move(fn); }
    void SetCommands(const ScpiCommand* table, int count);
    // Not owned; null when nobody is connected. Replies are written here.
    void SetSocket(QIODevice* device) { socket = device; }
    // Not owned; may be null.
    void SetLog(ScpiLogSink* sink) { log = sink; }

    // Raw text from the socket: assembles lines and runs each complete one.
    void SubmitInput(const QString& text);
    // The client has gone: lines not yet run, and any text that follows, are dropped.
    void Discard();
    // One complete line, without its line feed.
    void Input(const QString& line);

    int GetCommandId() const { return commandId; }
    // The header of the command being run, as the client wrote it.
    QString GetCommandHeader() const { return commandHeader; }
    int ParameterCount() const { return parameters.size(); }

    bool GetNextParameterString(QString& value, bool toLower);
    bool GetNextParameterStringNoError(QString& value);
    bool GetNextParameterInt(int& value, bool required = true);
    bool GetNextParameterBool(bool& value);
    bool GetNextParameterDouble(double& value);
    bool GetNextParameterFreq(double& value);
    bool GetNextParameterTime(double& value);
    bool GetNextParameterFileName(QString& value);
    bool GetNextParameterBinary(std::vector<unsigned char>& value);
    bool GetNextParameterHexString(QString& value);

    bool IsNextParameterMin() const;
    bool IsNextParameterMax() const;
    bool IsNextParameterUp() const;
    bool IsNextParameterDown() const;

    QStringList GetParameters();
    QList<int> GetIntParameters();
    bool GetNextCommandSuffix(int& value, int defaultValue);

    void SubmitReply(const QString& text);
    void SubmitReply(const char* text);
    void SubmitReply(int value);
    void SubmitReply(double value);
    void SubmitReply(bool value);
    void SubmitReply(const QVector<double>& values);
    void SubmitReply(const QVector<double>& x, const QVector<double>& y);
    void SubmitReply(const QVector<std::complex<double>>& values);

    // Data queries answer through these: in ASCII exactly as the SubmitReply vector forms, in a
    // REAL format as one block "#<n><length><bytes>" holding the same numbers in the same order.
    void SetDataFormat(ScpiDataFormat format) { dataFormat = format; }
    ScpiDataFormat DataFormat() const { return dataFormat; }
    // Little-endian blocks ("SWAPped"); big-endian ("NORMal") is the default.
    void SetSwappedByteOrder(bool swapped) { swappedBytes = swapped; }
    bool SwappedByteOrder() const { return swappedBytes; }
    bool BinaryData() const { return dataFormat != ScpiDataFormat::Ascii; }
    // One value: in ASCII as SubmitReply(double) writes it.
    void SubmitData(double value);
    void SubmitData(const QVector<double>& values);
    void SubmitData(const QVector<double>& x, const QVector<double>& y);
    void SubmitData(const QVector<std::complex<double>>& values);

    void CommitReply();
    void FlushReply();
    // Writes one reply line outside the line being run (a reply that had to wait), logged like
    // any other; dropped when nobody is connected.
    void SendLine(const QByteArray& text);

    // Called by a body: the commands behind it, on its line and after, wait until Release().
    // The line's replies so far stay gathered and are sent with the rest of the line.
    void Hold() { held = true; }
    bool Held() const { return held; }
    // Runs what waited, in order; it may hold again.
    void Release();

private:
    // A header token, lower-cased, with its trailing digits taken off as the suffix.
    struct Token
    {
        QString word;
        int suffix = -1;
        bool hasDigits = false;
    };
    static Token splitToken(const QString& text);
    static bool matchTokens(const QVector<Token>& tokens, const QList<ScpiKeyword>& keywords,
                            QList<int>& suffixes);
    friend bool matchCommand(const QString&, const QList<ScpiKeyword>&, const QStringList&,
                             QList<int>&);

    void runParts(const QStringList& parts);
    void runPart(const QString& rawPart, QStringList& path);
    // The first row of the table matching the tokens, with the suffixes it took; null if none.
    const ScpiCallbackList* findRow(const QVector<Token>& tokens,
                                    QList<int>& matchedSuffixes) const;
    // Runs one piece of work of a line; a failing body ends its line.
    template <typename Work>
    void guarded(Work work);
    // Appends the block header for count values of the current REAL format and returns where
    // the values go.
    char* startBlock(int count);

    template <typename T, typename Convert>
    bool readTyped(T& value, Convert convert, const char* errorText);
    bool nextParameterMatches(const char* shortWord, const char* longWord) const;
    void appendSeparator();
    void appendToLine(const QStringRef& text);

    std::function<void(Scpi*)> callback;
    std::shared_ptr<const ScpiCompiledTable> table;
    QStringList parameters;
    QList<int> suffixes;
    int commandId = 0;
    QString commandHeader;
    QIODevice* socket = nullptr;
    ScpiLogSink* log = nullptr;
    QString lineBuffer;
    // Set when the line grew too long: the rest of it, up to its line feed, is dropped.
    bool skippingLine = false;
    bool discarded = false;
    QByteArray commandReply;
    QByteArray lineReply;
    ScpiDataFormat dataFormat = ScpiDataFormat::Ascii;
    bool swappedBytes = false;
    bool held = false;
    // While held: the rest of the line being run, and the input received behind it.
    QStringList heldParts;
    QString heldInput;
};
