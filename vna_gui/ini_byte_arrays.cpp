#include "ini_byte_arrays.h"

#include <fcntl.h>
#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#endif
#include <sys/mman.h>
#include <unistd.h>

#include <QFileDevice>
#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <cstring>
#include <limits>
#include <mutex>
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
    bool opensHex;     // a following hex digit must be escaped too, or it would extend this escape
    bool needsQuotes;  // the whole value must then be quoted
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
                e.needsQuotes = c == ';' || c == ',' || c == '=';
            }
        }
        return t;
    }();
    return table;
}

// How one byte is written after one that left a hex escape open: hex digits are escaped too.
const std::array<Escape, 256>& EscapeAfterHexTable()
{
    static const std::array<Escape, 256> table = []
    {
        std::array<Escape, 256> t = EscapeTable();
        for (int c = 0; c < 256; ++c)
        {
            if (IsHexDigit((unsigned char)c))
            {
                Escape& e = t[size_t(c)];
                e.length = int(AppendHex(e.text, (unsigned char)c) - e.text);
                e.opensHex = true;
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

// The bytes of one-character escapes by their letter; 0xFF for letters that are none. "\0" to
// "\7" give an octal escape's first digit only: more digits may follow.
const std::array<unsigned char, 128> kSingleEscape = []
{
    std::array<unsigned char, 128> t;
    t.fill(0xFF);
    const std::pair<char, char> named[] = {{'a', '\a'},  {'b', '\b'}, {'f', '\f'}, {'n', '\n'},
                                           {'r', '\r'},  {'t', '\t'}, {'v', '\v'}, {'"', '"'},
                                           {'\\', '\\'}, {'?', '?'},  {'\'', '\''}};
    for (const auto& n : named)
    {
        t[size_t(n.first)] = (unsigned char)n.second;
    }
    for (int d = 0; d < 8; ++d)
    {
        t[size_t('0' + d)] = (unsigned char)d;
    }
    return t;
}();

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
    if (c == 'x')
    {
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
    }
    if (c >= '0' && c <= '7')
    {
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
    if (c >= kSingleEscape.size() || kSingleEscape[c] == 0xFF)
    {
        return false;
    }
    byte = char(kSingleEscape[c]);
    return true;
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

// Calls `line(begin, equals, end, guessed)` for each logical line of [p, end) as QSettings splits
// it: leading white space skipped, quotes and backslashes carry a line over a line break, and an
// unquoted ';' ends it. `equals` is the first unquoted '=' or null. True when the last line ended
// at a line break of its own rather than at `end`: a scan of a text cut after a line feed then
// agrees with a scan of the whole text up to the cut.
template <typename F>
bool ForEachLine(const char* p, const char* const end, F line, bool guessValues = false)
{
    const auto isSpace = [](char c)
    { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v'; };
    bool atBreak = true;
    while (p != end)
    {
        while (p != end && isSpace(*p))
        {
            ++p;
        }
        const char* const start = p;
        if (guessValues && GuessByteArrayLine(p, end, line))
        {
            atBreak = p[-1] == '\n';
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
        atBreak = p != end;
        if (p != start)
        {
            line(start, comment && p == start ? nullptr : equals, p, false);
        }
        if (comment)
        {
            const char* eol = static_cast<const char*>(memchr(p, '\n', size_t(end - p)));
            p = eol ? eol : end;
            atBreak = eol != nullptr;
        }
    }
    return atBreak;
}

template <typename F>
void ForEachLine(const QByteArray& text, F line)
{
    ForEachLine(text.constData(), text.constData() + text.size(), line);
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

// Whether a hex escape is still open after the bytes before `at`: hex digits after an escape are
// escaped too and keep it open, so the last byte that is not a hex digit decides.
bool OpenHexBefore(const unsigned char* begin, const unsigned char* at)
{
    while (at != begin && IsHexDigit(at[-1]))
    {
        --at;
    }
    return at != begin && EscapeTable()[at[-1]].opensHex;
}

// QSettings' escaped text of [p, end) at `o`, which has room for 4 characters a byte; `openHex`
// tells whether the byte before `p` ended in an open hex escape. Returns the end of the text.
char* EscapeRange(const unsigned char* p, const unsigned char* const end, bool openHex, char* o,
                  bool& needsQuotes)
{
    // Table driven, without a branch on the data: the bytes of float vectors are random. Whether
    // an escape stays open follows from the byte alone, except for a hex digit, which keeps
    // what the byte before left: worked out that way, the state needs no table load in between.
    static const auto keepsOpen = []
    {
        std::array<unsigned char, 256> t{};
        for (int c = 0; c < 256; ++c)
        {
            t[size_t(c)] = IsHexDigit((unsigned char)c) ? 1 : 0;
        }
        return t;
    }();
    static const auto opens = []
    {
        std::array<unsigned char, 256> t{};
        for (int c = 0; c < 256; ++c)
        {
            t[size_t(c)] = EscapeTable()[size_t(c)].opensHex ? 1 : 0;
        }
        return t;
    }();
    const std::array<Escape, 256>* const tables[2] = {&EscapeTable(), &EscapeAfterHexTable()};
    unsigned open = openHex ? 1 : 0;
    bool quotes = false;
    for (; p != end; ++p)
    {
        const unsigned char c = *p;
        const Escape& e = (*tables[open])[c];
        memcpy(o, e.text, 4);
        o += e.length;
        quotes |= e.needsQuotes;
        open = (keepsOpen[c] & open) | opens[c];
    }
    needsQuotes = needsQuotes || quotes;
    return o;
}
}  // namespace

namespace ini
{
namespace
{
// The escaped text of `bytes` in `out`, whose storage is reused from call to call.
void EscapeInto(const QByteArray& bytes, QByteArray& out, bool twoThreads)
{
    const auto* const data = reinterpret_cast<const unsigned char*>(bytes.constData());
    const int n = bytes.size();
    out.resize(kPrefixLength + 4 * n + 3);
    out[0] = '"';
    memcpy(out.data() + 1, kPrefix, kPrefixLength);
    char* const body = out.data() + 1 + kPrefixLength;
    bool needsQuotes = false;
    char* o = nullptr;
    // A vector of a long sweep is escaped in two halves at once; the second half is written
    // after the room the first could take at most, and moved down to join it.
    constexpr int kTwoThreadSize = 1 << 16;
    if (twoThreads && n >= kTwoThreadSize)
    {
        const int half = n / 2;
        char* const secondAt = body + 4 * half;
        char* secondEnd = nullptr;
        bool secondQuotes = false;
        std::thread second(
            [&]
            {
                secondEnd = EscapeRange(data + half, data + n, OpenHexBefore(data, data + half),
                                        secondAt, secondQuotes);
            });
        o = EscapeRange(data, data + half, false, body, needsQuotes);
        second.join();
        memmove(o, secondAt, size_t(secondEnd - secondAt));
        o += secondEnd - secondAt;
        needsQuotes |= secondQuotes;
    }
    else
    {
        o = EscapeRange(data, data + n, false, body, needsQuotes);
    }
    *o++ = ')';
    if (needsQuotes)
    {
        *o++ = '"';
    }
    else
    {
        // The room kept for an opening quote is not needed.
        memmove(out.data(), out.data() + 1, size_t(o - out.constData() - 1));
        --o;
    }
    out.resize(int(o - out.constData()));
}
}  // namespace

void PrefaultForWriting(void* begin, size_t bytes)
{
#ifdef MADV_POPULATE_WRITE
    static const size_t page = size_t(::sysconf(_SC_PAGESIZE));
    // Only whole pages inside the buffer: its first and last page may be shared with others.
    const quintptr first = (reinterpret_cast<quintptr>(begin) + page - 1) / page * page;
    const quintptr last = (reinterpret_cast<quintptr>(begin) + bytes) / page * page;
    if (last > first)
    {
        ::madvise(reinterpret_cast<void*>(first), last - first, MADV_POPULATE_WRITE);
    }
#else
    Q_UNUSED(begin);
    Q_UNUSED(bytes);
#endif
}

QByteArray EscapeByteArray(const QByteArray& bytes)
{
    QByteArray out;
    EscapeInto(bytes, out, true);
    return out;
}

namespace
{
// Decodes the token at `p`, a plain character or an escape, into `o`. False for text QSettings
// reads otherwise.
inline bool DecodeToken(const char*& p, const char* stop, const bool* plain, char*& o)
{
    const unsigned char c = (unsigned char)*p;
    if (plain[c])
    {
        *o++ = char(c);
        ++p;
        return true;
    }
    if (c != '\\')
    {
        return false;  // a character QSettings reads otherwise: leave it to QSettings
    }
    // "\xH" or "\xHH" with no hex digit after it: nearly every escape of float data.
    if (stop - p >= 4 && p[1] == 'x')
    {
        const int high = kHexValue[(unsigned char)p[2]];
        const int low = kHexValue[(unsigned char)p[3]];
        if (high >= 0 && low < 0)
        {
            *o++ = char(high);
            p += 3;
            return true;
        }
        if (high >= 0 && (stop - p == 4 || kHexValue[(unsigned char)p[4]] < 0))
        {
            *o++ = char(high * 16 + low);
            p += 4;
            return true;
        }
    }
    ++p;
    return ReadEscape(p, stop, *o++);
}

#if defined(__x86_64__) && defined(__GNUC__)
#define INI_VECTOR_DECODER 1

bool HasVectorDecoder()
{
    static const bool has = __builtin_cpu_supports("avx512f") &&
                            __builtin_cpu_supports("avx512bw") &&
                            __builtin_cpu_supports("avx512vbmi") &&
                            __builtin_cpu_supports("avx512vbmi2") && __builtin_cpu_supports("bmi");
    return has;
}

// Tokens that start in the first kWindow characters of a 64-character block are decoded: the
// longest token the block form takes ("\xHH") then ends in the block, and the character after
// it, which must not be a hex digit, is still among those read.
constexpr int kWindow = 61;
// Characters read from a block's start: the block and the three after it, read shifted.
constexpr int kBlockReach = 67;

#define INI_BLOCK_TARGET \
    __attribute__((target("avx512f,avx512bw,avx512vbmi,avx512vbmi2,bmi,popcnt")))

INI_BLOCK_TARGET inline __m512i byte(char c)
{
    return _mm512_set1_epi8(c);
}

// Hex value of each character (below 16 also where it is not a hex digit) and the mask of hex
// digits.
INI_BLOCK_TARGET inline __m512i HexValues(__m512i t, __mmask64& digits)
{
    const __mmask64 decimal = _mm512_cmplt_epu8_mask(_mm512_sub_epi8(t, byte('0')), byte(10));
    const __mmask64 letter =
        _mm512_cmplt_epu8_mask(_mm512_sub_epi8(_mm512_or_si512(t, byte(0x20)), byte('a')), byte(6));
    digits = decimal | letter;
    const __m512i low = _mm512_and_si512(t, byte(0x0F));
    return _mm512_mask_add_epi8(low, letter, low, byte(9));
}

// Decodes whole blocks of 64 characters from `p` while `p` is before `until` and at least
// kBlockReach characters are left before `stop`: token starts and their bytes are found for all
// 64 characters at once, and the bytes packed together. Stops at a block holding anything but
// plain characters, one-character escapes and "\xH"/"\xHH"; DecodeToken then takes that block.
// `p` is at a token start on entry and on return.
INI_BLOCK_TARGET void DecodeBlocks(const char*& p, const char* until, const char* stop, bool quoted,
                                   char*& o)
{
    const __m512i singleLow = _mm512_loadu_si512(kSingleEscape.data());
    const __m512i singleHigh = _mm512_loadu_si512(kSingleEscape.data() + 64);
    constexpr quint64 kWindowMask = (quint64(1) << kWindow) - 1;
    while (p < until && stop - p >= kBlockReach)
    {
        const __m512i t0 = _mm512_loadu_si512(p);
        const __m512i t1 = _mm512_loadu_si512(p + 1);
        const __m512i t2 = _mm512_loadu_si512(p + 2);
        const __m512i t3 = _mm512_loadu_si512(p + 3);
        const quint64 backslash = _mm512_cmpeq_epi8_mask(t0, byte('\\'));
        // Escapes start at even places in a run of backslashes: "\\\\" is one escaped backslash.
        // The block starts at a token start, so a run at its start starts an escape.
        quint64 escapes = 0;
        for (quint64 at = backslash & ~(backslash << 1); at != 0;
             at = (at << 2) & backslash & (backslash << 1))
        {
            escapes |= at;
        }
        const quint64 hexEscapes = escapes & _mm512_cmpeq_epi8_mask(t1, byte('x'));
        const quint64 singleEscapes = escapes & ~hexEscapes;
        __mmask64 digits2 = 0;
        __mmask64 digits3 = 0;
        const __m512i value2 = HexValues(t2, digits2);
        const __m512i value3 = HexValues(t3, digits3);
        const quint64 twoDigits = hexEscapes & digits3;
        const quint64 threeDigits = twoDigits & (quint64(digits3) >> 1);
        const __m512i singleValue = _mm512_permutex2var_epi8(singleLow, t1, singleHigh);
        const quint64 singleKnown = _mm512_cmplt_epu8_mask(t1, byte(char(0x80))) &
                                    _mm512_cmpneq_epi8_mask(singleValue, byte(char(0xFF)));
        // An octal escape of more digits than one.
        const quint64 longOctal = _mm512_cmplt_epu8_mask(_mm512_sub_epi8(t1, byte('0')), byte(8)) &
                                  _mm512_cmplt_epu8_mask(_mm512_sub_epi8(t2, byte('0')), byte(8));
        const quint64 covered = (escapes << 1) | (hexEscapes << 2) | (twoDigits << 3);
        const quint64 starts = ~covered;
        const quint64 taken = starts & kWindowMask;
        quint64 plainChars = _mm512_cmpge_epu8_mask(t0, byte(0x20)) &
                             _mm512_cmplt_epu8_mask(t0, byte(0x7F)) & ~backslash &
                             ~quint64(_mm512_cmpeq_epi8_mask(t0, byte('"')));
        if (!quoted)
        {
            plainChars &= ~quint64(_mm512_cmpeq_epi8_mask(t0, byte(','))) &
                          ~quint64(_mm512_cmpeq_epi8_mask(t0, byte(';')));
        }
        const quint64 odd = (taken & ~escapes & ~plainChars) | (hexEscapes & ~digits2) |
                            threeDigits | (singleEscapes & (~singleKnown | longOctal));
        if ((odd & kWindowMask) != 0)
        {
            return;
        }
        __m512i value = _mm512_mask_mov_epi8(t0, singleEscapes, singleValue);
        const __m512i pair = _mm512_or_si512(_mm512_slli_epi16(value2, 4), value3);
        value = _mm512_mask_mov_epi8(value, hexEscapes & ~twoDigits, value2);
        value = _mm512_mask_mov_epi8(value, twoDigits, pair);
        _mm512_storeu_si512(o, _mm512_maskz_compress_epi8(taken, value));
        o += _mm_popcnt_u64(taken);
        p += _tzcnt_u64(starts & ~kWindowMask);
    }
}
#endif
}  // namespace

bool UnescapeByteArray(const char* begin, const char* end, QByteArray& out, Decoder decoder)
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
    // The text's length bounds the bytes (the block decoder stores whole blocks and needs that
    // much room past its last byte); the pages are mapped as the bytes reach them.
    out.resize(int(stop - p));
    char* o = out.data();
    constexpr qptrdiff kPrefaultStep = 1 << 17;
    // Text per step. A step writes no more bytes than that, and a block store past them.
    constexpr qptrdiff kChunk = 1 << 16;
    constexpr qptrdiff kStepReach = kChunk + 256;
    char* prefaulted = o;
    char* const outEnd = o + out.size();
    const bool* const plain = quoted ? kPlainQuoted.data() : kPlainUnquoted.data();
#ifdef INI_VECTOR_DECODER
    const bool vector = decoder == Decoder::Fastest && HasVectorDecoder();
#else
    Q_UNUSED(decoder);
#endif
    while (p != stop)
    {
        // Mapped ahead of the most one step can write.
        while (out.size() >= kPrefaultStep && prefaulted != outEnd && prefaulted - o < kStepReach)
        {
            const qptrdiff step = std::min<qptrdiff>(kPrefaultStep, outEnd - prefaulted);
            PrefaultForWriting(prefaulted, size_t(step));
            prefaulted += step;
        }
        const char* const chunkEnd = stop - p > kChunk ? p + kChunk : stop;
        const char* tokensEnd = chunkEnd;
#ifdef INI_VECTOR_DECODER
        if (vector)
        {
            DecodeBlocks(p, chunkEnd, stop, quoted, o);
            // Whatever the blocks left: the end of the text, or a block with other escapes.
            tokensEnd = std::min(chunkEnd, p + kBlockReach);
        }
#endif
        while (p < tokensEnd)
        {
            if (!DecodeToken(p, stop, plain, o))
            {
                return false;
            }
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
    // A line that may hold a large value. Its key is named once the section it lies in is known:
    // a scan that starts in the middle of the text learns that from the scan before it.
    struct Candidate
    {
        const char* begin;
        const char* equals;
        const char* end;
        QByteArray section;
        bool sectionKnown = true;
        bool guessed = false;  // found without scanning the line
        bool decoded = false;
        QByteArray bytes;
    };
    // The lines of one stretch of text, scanned and decoded by one thread.
    struct Part
    {
        const char* begin;
        const char* end;
        std::vector<Candidate> candidates;
        QByteArray section;
        bool sectionKnown = false;
        bool atBreak = false;
        qint64 total = 0;

        void Scan(bool guess, int minSize)
        {
            candidates.clear();
            total = 0;
            atBreak = ForEachLine(
                begin, end,
                [&](const char* lineBegin, const char* equals, const char* lineEnd, bool guessed)
                {
                    if (*lineBegin == '[')
                    {
                        section = SectionOf(lineBegin, lineEnd);
                        sectionKnown = true;
                    }
                    else if (guessed || (equals && lineEnd - equals > minSize))
                    {
                        // A guessed line is taken whatever its size: its decoding is what proves
                        // where the line ends.
                        candidates.push_back({lineBegin,
                                              equals,
                                              lineEnd,
                                              section,
                                              sectionKnown,
                                              guessed,
                                              false,
                                              {}});
                        total += lineEnd - equals;
                    }
                },
                guess);
        }

        // Decodes the candidates no other thread has claimed through `next`.
        void DecodeClaimed(std::atomic<size_t>& next)
        {
            for (size_t i = next++; i < candidates.size(); i = next++)
            {
                Candidate& c = candidates[i];
                c.decoded = UnescapeByteArray(c.equals + 1, c.end, c.bytes);
            }
        }

        bool GuessesHeld() const
        {
            return std::all_of(candidates.begin(), candidates.end(),
                               [](const Candidate& c) { return c.decoded || !c.guessed; });
        }
    };
    const char* const textEnd = text.constData() + text.size();
    std::vector<Part> parts;

    // Two halves, each scanned and decoded on a thread of its own. The second half starts after
    // a line feed; the split holds when the first half's last line ends at a line break of its
    // own and every guessed line decodes.
    constexpr int kSplitSize = 1 << 20;
    const char* split = text.size() >= kSplitSize
                            ? static_cast<const char*>(memchr(text.constData() + text.size() / 2,
                                                              '\n', size_t(text.size() / 2)))
                            : nullptr;
    if (split && split + 1 != textEnd)
    {
        parts = {Part{text.constData(), split + 1, {}, {}, true},
                 Part{split + 1, textEnd, {}, {}, false}};
        // The halves decode at different speeds (the share of escapes differs): a thread done
        // with its own half helps with the other's once that has been scanned.
        std::atomic<size_t> next[2] = {{0}, {0}};
        std::atomic<bool> scanned[2] = {{false}, {false}};
        const auto work = [&](size_t i)
        {
            parts[i].Scan(true, minSize);
            scanned[i] = true;
            parts[i].DecodeClaimed(next[i]);
            while (!scanned[1 - i])
            {
                std::this_thread::yield();
            }
            parts[1 - i].DecodeClaimed(next[1 - i]);
        };
        std::thread second(work, 1);
        work(0);
        second.join();
        if (!parts[0].atBreak || !parts[0].GuessesHeld() || !parts[1].GuessesHeld())
        {
            parts.clear();
        }
    }
    if (parts.empty())
    {
        // One scan over the whole text, which must run in order; the decoding, most of the
        // work, still on two threads.
        parts = {Part{text.constData(), textEnd, {}, {}, true}};
        Part& whole = parts[0];
        const auto decodeOnTwoThreads = [&whole]
        {
            std::atomic<size_t> next{0};
            std::thread second([&whole, &next] { whole.DecodeClaimed(next); });
            whole.DecodeClaimed(next);
            second.join();
        };
        whole.Scan(true, minSize);
        decodeOnTwoThreads();
        if (!whole.GuessesHeld())
        {
            whole.Scan(false, minSize);
            decodeOnTwoThreads();
        }
    }

    rest.clear();
    qint64 taken = 0;
    for (const Part& part : parts)
    {
        taken += part.total;
    }
    rest.reserve(int(
        std::min<qint64>(text.size() - taken + 64 * 1024, std::numeric_limits<int>::max() / 2)));
    const char* copied = text.constData();
    QByteArray section;
    QString key;
    for (Part& part : parts)
    {
        for (Candidate& c : part.candidates)
        {
            if (!c.sectionKnown)
            {
                c.section = section;
            }
            if (c.decoded && c.bytes.size() >= minSize && c.equals &&
                FullKey(c.section, QByteArray::fromRawData(c.begin, int(c.equals - c.begin)), key))
            {
                values.insert(key, c.bytes);  // a later line of the same key wins, as in QSettings
                rest.append(copied, int(c.equals - copied));
                rest.append(kPlaceholder, kPlaceholderLength);
                copied = c.end;
            }
        }
        if (part.sectionKnown)
        {
            section = part.section;
        }
    }
    rest.append(copied, int(textEnd - copied));
}

bool InsertByteArrays(const QByteArray& text, const QMap<QString, QByteArray>& values,
                      QIODevice& out)
{
    // Where each value goes: after the text from the previous one up to its '='.
    struct Place
    {
        const char* from;
        const char* equals;
        const QByteArray* value;
    };
    std::vector<Place> places;
    QByteArray section;
    QString key;
    const char* copied = text.constData();
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
                        places.push_back({copied, equals, &*it});
                        copied = end;
                    }
                });

    // For a file, the disk starts writing each value while the next ones are escaped: the
    // flush that ends a save then waits for little.
    auto* const file = qobject_cast<QFileDevice*>(&out);
    const int fd = file ? file->handle() : -1;
    qint64 written = 0;
    bool ok = true;
    const auto write = [&](const char* from, const char* to)
    {
        ok = ok && out.write(from, to - from) == to - from;
#ifdef __linux__
        if (ok && fd >= 0 && to - from >= (1 << 16))
        {
            ::sync_file_range(fd, written, to - from, SYNC_FILE_RANGE_WRITE);
        }
#endif
        written += to - from;
    };

    // Two threads take the values in turn; each escapes its next value while the other writes,
    // and the writes keep the order of the text.
    std::mutex turnMutex;
    std::condition_variable turnChanged;
    // Guarded by turnMutex: the place whose text is written next, and the writes themselves.
    size_t turn = 0;
    const auto worker = [&](size_t first)
    {
        QByteArray escaped;
        for (size_t i = first; i < places.size(); i += 2)
        {
            EscapeInto(*places[i].value, escaped, false);
            std::unique_lock<std::mutex> lock(turnMutex);
            turnChanged.wait(lock, [&] { return turn == i; });
            write(places[i].from, places[i].equals + 1);
            write(escaped.constData(), escaped.constData() + escaped.size());
            ++turn;
            turnChanged.notify_all();
        }
    };
    std::thread second(worker, 1);
    worker(0);
    second.join();
    write(copied, text.constData() + text.size());
    return ok && places.size() == size_t(values.size());
}
}  // namespace ini
