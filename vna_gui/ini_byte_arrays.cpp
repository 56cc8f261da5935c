#include "ini_byte_arrays.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <thread>
#include <vector>

namespace
{
const char kPrefix[] = "@ByteArray(";
constexpr int kPrefixLength = sizeof(kPrefix) - 1;
const char kPlaceholder[] = "=@ByteArray()";
constexpr int kPlaceholderLength = sizeof(kPlaceholder) - 1;

bool IsHexDigit(unsigned char c)
{
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

int HexValue(unsigned char c)
{
    return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10;
}

// How one byte is written when the previous one did not leave a hex escape open.
struct Escape
{
    char text[4];
    int length;
    bool opensHex;  // a following hex digit must be escaped too, or it would extend this escape
};

char* AppendHex(char* out, unsigned char c)
{
    static const char digits[] = "0123456789abcdef";
    *out++ = '\\';
    *out++ = 'x';
    if (c >= 16)
    {
        *out++ = digits[c >> 4];
    }
    *out++ = digits[c & 15];
    return out;
}

const std::array<Escape, 256>& EscapeTable()
{
    static const std::array<Escape, 256> table = []
    {
        std::array<Escape, 256> t{};
        for (int c = 0; c < 256; ++c)
        {
            Escape& e = t[size_t(c)];
            const char* named = nullptr;
            switch (c)
            {
                case '\0':
                    named = "\\0";
                    e.opensHex = true;
                    break;
                case '\a':
                    named = "\\a";
                    break;
                case '\b':
                    named = "\\b";
                    break;
                case '\f':
                    named = "\\f";
                    break;
                case '\n':
                    named = "\\n";
                    break;
                case '\r':
                    named = "\\r";
                    break;
                case '\t':
                    named = "\\t";
                    break;
                case '\v':
                    named = "\\v";
                    break;
                case '"':
                    named = "\\\"";
                    break;
                case '\\':
                    named = "\\\\";
                    break;
                default:
                    break;
            }
            if (named)
            {
                e.length = int(strlen(named));
                memcpy(e.text, named, size_t(e.length));
            }
            else if (c <= 0x1F || c >= 0x7F)
            {
                e.length = int(AppendHex(e.text, (unsigned char)c) - e.text);
                e.opensHex = true;
            }
            else
            {
                e.text[0] = char(c);
                e.length = 1;
            }
        }
        return t;
    }();
    return table;
}

// Characters that end a run in a line: those QSettings' line splitter looks at.
const std::array<bool, 256> kLineSpecial = []
{
    std::array<bool, 256> t{};
    for (unsigned char c : {'=', '\n', '\r', '\\', '"', ';'})
    {
        t[c] = true;
    }
    return t;
}();

const std::array<signed char, 256> kHexValue = []
{
    std::array<signed char, 256> t{};
    for (int c = 0; c < 256; ++c)
    {
        t[size_t(c)] = IsHexDigit((unsigned char)c) ? (signed char)HexValue((unsigned char)c) : -1;
    }
    return t;
}();

// Characters that stand for themselves in a byte array's text, in quotes and out of them.
std::array<bool, 256> PlainTable(bool quoted)
{
    std::array<bool, 256> t{};
    for (int c = 0x20; c < 0x7F; ++c)
    {
        t[size_t(c)] = c != '\\' && c != '"' && (quoted || (c != ',' && c != ';'));
    }
    return t;
}
const std::array<bool, 256> kPlainQuoted = PlainTable(true);
const std::array<bool, 256> kPlainUnquoted = PlainTable(false);

// Reads one escape after a backslash at `p`; false for escapes QSettings would not turn into a
// single byte.
bool ReadEscape(const char*& p, const char* end, char& byte)
{
    if (p == end)
    {
        return false;
    }
    const unsigned char c = (unsigned char)*p++;
    int value = 0;
    switch (c)
    {
        case 'a':
            byte = '\a';
            return true;
        case 'b':
            byte = '\b';
            return true;
        case 'f':
            byte = '\f';
            return true;
        case 'n':
            byte = '\n';
            return true;
        case 'r':
            byte = '\r';
            return true;
        case 't':
            byte = '\t';
            return true;
        case 'v':
            byte = '\v';
            return true;
        case '"':
        case '\\':
        case '?':
        case '\'':
            byte = char(c);
            return true;
        case 'x':
            if (p == end || !IsHexDigit((unsigned char)*p))
            {
                return false;
            }
            while (p != end && IsHexDigit((unsigned char)*p))
            {
                value = value * 16 + HexValue((unsigned char)*p++);
                if (value > 0xFF)
                {
                    return false;
                }
            }
            byte = char(value);
            return true;
        default:
            if (c < '0' || c > '7')
            {
                return false;
            }
            value = c - '0';
            while (p != end && *p >= '0' && *p <= '7')
            {
                value = value * 8 + (*p++ - '0');
                if (value > 0xFF)
                {
                    return false;
                }
            }
            byte = char(value);
            return true;
    }
}

bool UnescapeKeyPart(const char* p, const char* end, QString& out)
{
    for (; p != end; ++p)
    {
        const unsigned char c = (unsigned char)*p;
        if (c == '\\')
        {
            out += QLatin1Char('/');
        }
        else if (c == '%')
        {
            if (end - p < 3 || !IsHexDigit((unsigned char)p[1]) || !IsHexDigit((unsigned char)p[2]))
            {
                return false;
            }
            out += QChar(HexValue((unsigned char)p[1]) * 16 + HexValue((unsigned char)p[2]));
            p += 2;
        }
        else if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                 c == '_' || c == '-' || c == '.')
        {
            out += QLatin1Char(char(c));
        }
        else
        {
            return false;
        }
    }
    return true;
}

// A line that looks like "plain\\key=@ByteArray(...)" reaches `line` with `guessed` set and
// without being scanned: the strict decoding of its value then proves that QSettings splits the
// text the same way, or the caller scans again without guessing. Advances `p` past the line.
template <typename F>
bool GuessByteArrayLine(const char*& p, const char* end, F& line)
{
    const char* eol = static_cast<const char*>(memchr(p, '\n', size_t(end - p)));
    const char* stop = eol ? eol : end;
    if (stop != p && stop[-1] == '\r')
    {
        --stop;
    }
    const char* equals = static_cast<const char*>(memchr(p, '=', size_t(stop - p)));
    if (!equals || equals == p || equals[-1] == '\\' || stop - equals < kPrefixLength + 2)
    {
        return false;
    }
    for (const char* k = p; k != equals; ++k)
    {
        if ((*k == '\\' && k[1] == '\\') || *k == '"' || *k == ';')
        {
            return false;
        }
    }
    const bool quoted = equals[1] == '"';
    if (memcmp(equals + 1 + (quoted ? 1 : 0), kPrefix, kPrefixLength) != 0 ||
        stop[-1] != (quoted ? '"' : ')'))
    {
        return false;
    }
    line(p, equals, stop, true);
    p = eol ? eol + 1 : end;
    return true;
}

// Calls `line(begin, equals, end, guessed)` for each logical line of `text` as QSettings splits it:
// leading white space skipped, quotes and backslashes carry a line over a line break, and an
// unquoted ';' ends it. `equals` is the first unquoted '=' or null.
template <typename F>
void ForEachLine(const QByteArray& text, F line, bool guessValues = false)
{
    const char* p = text.constData();
    const char* const end = p + text.size();
    const auto isSpace = [](char c)
    { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v'; };
    while (p != end)
    {
        while (p != end && isSpace(*p))
        {
            ++p;
        }
        const char* const start = p;
        if (guessValues && GuessByteArrayLine(p, end, line))
        {
            continue;
        }
        const char* equals = nullptr;
        bool inQuotes = false;
        bool comment = false;
        while (p != end)
        {
            // Most of a vector's text is ordinary characters: skip them in a tight loop.
            while (p != end && !kLineSpecial[(unsigned char)*p])
            {
                ++p;
            }
            if (p == end)
            {
                break;
            }
            const char c = *p;
            if (c == '=' && !inQuotes && !equals)
            {
                equals = p;
            }
            else if ((c == '\n' || c == '\r') && !inQuotes)
            {
                break;
            }
            else if (c == '\\' && end - p >= 2)
            {
                // The escaped character, with both halves of a line break pair.
                ++p;
                if (end - p >= 2 &&
                    ((p[0] == '\n' && p[1] == '\r') || (p[0] == '\r' && p[1] == '\n')))
                {
                    ++p;
                }
            }
            else if (c == '"')
            {
                inQuotes = !inQuotes;
            }
            else if (c == ';' && !inQuotes)
            {
                comment = true;
                break;
            }
            ++p;
        }
        if (p != start)
        {
            line(start, comment && p == start ? nullptr : equals, p, false);
        }
        if (comment)
        {
            const char* eol = static_cast<const char*>(memchr(p, '\n', size_t(end - p)));
            p = eol ? eol : end;
        }
    }
}

// The section a header line opens; empty (no key of it taken) when it is not plain.
QByteArray SectionOf(const char* begin, const char* end)
{
    if (end - begin < 3 || begin[0] != '[' || end[-1] != ']')
    {
        return QByteArray();
    }
    return QByteArray(begin + 1, int(end - begin - 2));
}
}  // namespace

namespace ini
{
QByteArray EscapeByteArray(const QByteArray& bytes)
{
    const auto& table = EscapeTable();
    QByteArray out;
    out.resize(kPrefixLength + 4 * bytes.size() + 3);
    char* o = out.data();
    *o++ = '"';  // dropped again below when no quotes are needed
    memcpy(o, kPrefix, kPrefixLength);
    o += kPrefixLength;
    bool openHex = false;
    bool needsQuotes = false;
    const unsigned char* p = reinterpret_cast<const unsigned char*>(bytes.constData());
    const unsigned char* const end = p + bytes.size();
    for (; p != end; ++p)
    {
        const unsigned char c = *p;
        if (openHex && IsHexDigit(c))
        {
            o = AppendHex(o, c);
            continue;
        }
        const Escape& e = table[c];
        memcpy(o, e.text, 4);
        o += e.length;
        openHex = e.opensHex;
        needsQuotes |= (c == ';' || c == ',' || c == '=');
    }
    *o++ = ')';
    if (needsQuotes)
    {
        *o++ = '"';
        out.resize(int(o - out.constData()));
        return out;
    }
    out.resize(int(o - out.constData()));
    return out.mid(1);
}

bool UnescapeByteArray(const char* begin, const char* end, QByteArray& out)
{
    const bool quoted = end - begin >= 2 && *begin == '"' && end[-1] == '"';
    if (quoted)
    {
        ++begin;
        --end;
    }
    if (end - begin < kPrefixLength + 1 || memcmp(begin, kPrefix, kPrefixLength) != 0 ||
        end[-1] != ')')
    {
        return false;
    }
    const char* p = begin + kPrefixLength;
    const char* const stop = end - 1;
    out.resize(int(stop - p));
    char* o = out.data();
    const bool* const plain = quoted ? kPlainQuoted.data() : kPlainUnquoted.data();
    while (p != stop)
    {
        const unsigned char c = (unsigned char)*p++;
        if (plain[c])
        {
            *o++ = char(c);
            continue;
        }
        if (c != '\\')
        {
            return false;  // a character QSettings reads otherwise: leave it to QSettings
        }
        if (p != stop && *p == 'x')
        {
            // The common case in float data, kept inline.
            ++p;
            int value = p != stop ? kHexValue[(unsigned char)*p] : -1;
            if (value < 0)
            {
                return false;
            }
            for (++p; p != stop && kHexValue[(unsigned char)*p] >= 0; ++p)
            {
                value = value * 16 + kHexValue[(unsigned char)*p];
                if (value > 0xFF)
                {
                    return false;
                }
            }
            *o++ = char(value);
        }
        else if (!ReadEscape(p, stop, *o++))
        {
            return false;
        }
    }
    out.resize(int(o - out.constData()));
    return true;
}

bool FullKey(const QByteArray& section, const QByteArray& rawKey, QString& key)
{
    key.clear();
    QString group;
    if (section.isEmpty() || rawKey.isEmpty() ||
        !UnescapeKeyPart(section.constData(), section.constData() + section.size(), group) ||
        !UnescapeKeyPart(rawKey.constData(), rawKey.constData() + rawKey.size(), key))
    {
        return false;
    }
    if (group.compare(QLatin1String("General"), Qt::CaseInsensitive) == 0)
    {
        return false;  // QSettings files root keys there; not where vectors go
    }
    key = group + QLatin1Char('/') + key;
    return true;
}

bool PlainKey(const QString& key)
{
    const int slash = key.indexOf(QLatin1Char('/'));
    if (slash <= 0 || slash == key.size() - 1 ||
        key.leftRef(slash).compare(QLatin1String("General"), Qt::CaseInsensitive) == 0)
    {
        return false;
    }
    for (int i = 0; i < key.size(); ++i)
    {
        const ushort c = key.at(i).unicode();
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                           (c >= '0' && c <= '9') || c == '_' || c == '-' || c == '.' ||
                           (c == '/' && key.at(i - 1) != QLatin1Char('/'));
        if (!plain)
        {
            return false;
        }
    }
    return true;
}

void ExtractByteArrays(const QByteArray& text, int minSize, QByteArray& rest,
                       QMap<QString, QByteArray>& values)
{
    // Lines must be found in order, since quotes and backslashes carry state from one to the
    // next; the values, most of the work, are then decoded on two threads.
    struct Candidate
    {
        QString key;
        const char* equals;
        const char* end;
        QByteArray bytes;
        bool ok = false;
        bool guessed = false;
    };
    std::vector<Candidate> candidates;
    QByteArray section;
    QString key;
    qint64 total = 0;
    const auto scan = [&](bool guess)
    {
        candidates.clear();
        section.clear();
        total = 0;
        ForEachLine(
            text,
            [&](const char* begin, const char* equals, const char* end, bool guessed)
            {
                if (*begin == '[')
                {
                    section = SectionOf(begin, end);
                }
                else if (equals && end - equals > minSize &&
                         FullKey(section, QByteArray::fromRawData(begin, int(equals - begin)), key))
                {
                    candidates.push_back({key, equals, end, QByteArray(), false, guessed});
                    total += end - equals;
                }
                else if (guessed)
                {
                    // A guessed line must be taken, or its text was never scanned.
                    candidates.push_back({QString(), equals, end, QByteArray(), false, true});
                }
            },
            guess);
    };
    const auto decode = [&](size_t from, size_t to)
    {
        for (size_t i = from; i < to; ++i)
        {
            Candidate& c = candidates[i];
            c.ok = !c.key.isNull() && UnescapeByteArray(c.equals + 1, c.end, c.bytes) &&
                   c.bytes.size() >= minSize;
        }
    };
    const auto decodeAll = [&]
    {
        size_t half = 0;
        for (qint64 seen = 0; half < candidates.size() && seen < total / 2; ++half)
        {
            seen += candidates[half].end - candidates[half].equals;
        }
        std::thread second(decode, half, candidates.size());
        decode(0, half);
        second.join();
        return std::all_of(candidates.begin(), candidates.end(),
                           [](const Candidate& c) { return c.ok || !c.guessed; });
    };
    scan(true);
    if (!decodeAll())
    {
        scan(false);
        decodeAll();
    }

    rest.clear();
    rest.reserve(int(std::min<qint64>(text.size() - total + 64 * qint64(candidates.size()),
                                      std::numeric_limits<int>::max() / 2)));
    const char* copied = text.constData();
    for (Candidate& c : candidates)
    {
        if (c.ok)
        {
            values.insert(c.key, c.bytes);  // a later line of the same key wins, as in QSettings
            rest.append(copied, int(c.equals - copied));
            rest.append(kPlaceholder, kPlaceholderLength);
            copied = c.end;
        }
    }
    rest.append(copied, int(text.constData() + text.size() - copied));
}

bool InsertByteArrays(const QByteArray& text, const QMap<QString, QByteArray>& values,
                      QIODevice& out)
{
    QByteArray section;
    QString key;
    int placed = 0;
    bool ok = true;
    const char* copied = text.constData();
    const auto write = [&](const char* from, const char* to)
    { ok = ok && out.write(from, to - from) == to - from; };
    ForEachLine(text,
                [&](const char* begin, const char* equals, const char* end, bool)
                {
                    if (*begin == '[')
                    {
                        section = SectionOf(begin, end);
                        return;
                    }
                    if (!equals || end - equals != kPlaceholderLength ||
                        memcmp(equals, kPlaceholder, kPlaceholderLength) != 0 ||
                        !FullKey(section, QByteArray::fromRawData(begin, int(equals - begin)), key))
                    {
                        return;
                    }
                    const auto it = values.constFind(key);
                    if (it != values.constEnd())
                    {
                        write(copied, equals + 1);
                        const QByteArray escaped = EscapeByteArray(*it);
                        write(escaped.constData(), escaped.constData() + escaped.size());
                        copied = end;
                        ++placed;
                    }
                });
    write(copied, text.constData() + text.size());
    return ok && placed == values.size();
}
}  // namespace ini
