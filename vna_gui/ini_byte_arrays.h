// Fast handling of large byte-array values in INI files. QSettings escapes and unescapes byte
// arrays one character at a time through QString, which takes tens of seconds for the hundreds
// of megabytes of vector data an instrument state holds. These functions write and read exactly
// the text QSettings does for such values, and leave every other line to QSettings itself.
#pragma once

#include <QByteArray>
#include <QIODevice>
#include <QMap>
#include <QString>
#include <cstddef>

namespace ini
{
// Maps the memory pages of a new buffer for writing in one step. On machines where every first
// write to a page traps to the hypervisor, that costs a tenth of faulting the pages in one by one
// (the hundreds of megabytes of a state file). Does nothing where the system cannot.
void PrefaultForWriting(void* begin, size_t bytes);

// The text QSettings writes after "key=" for a byte array value.
QByteArray EscapeByteArray(const QByteArray& bytes);

// How UnescapeByteArray decodes: the fastest way this processor has (many characters at once
// where it can), or one character at a time, which every processor has.
enum class Decoder
{
    Fastest,
    Portable
};

// The bytes of a value written as "@ByteArray(...)", quoted or not. False (and `out` undefined)
// for any text that is not plainly such a value: the caller then leaves it to QSettings.
bool UnescapeByteArray(const char* begin, const char* end, QByteArray& out,
                       Decoder decoder = Decoder::Fastest);

// The full key ("Group/Sub/Key") of a raw key in a section, as QSettings names it. False for
// keys in any but the plain escaped form QSettings writes.
bool FullKey(const QByteArray& section, const QByteArray& rawKey, QString& key);

// Whether a key is one whose values these functions place: in a group other than the root,
// written without escapes.
bool PlainKey(const QString& key);

// Splits an INI text into the byte-array values at least `minSize` bytes long, by full key, and
// the rest of the text, in which those values read as empty byte arrays.
void ExtractByteArrays(const QByteArray& text, int minSize, QByteArray& rest,
                       QMap<QString, QByteArray>& values);

// The reverse: `text` is an INI text written by QSettings with empty byte arrays standing for
// `values`; each is replaced by its value.
// Writes the result to `out`; false when a value has no place in the text or a write fell short.
bool InsertByteArrays(const QByteArray& text, const QMap<QString, QByteArray>& values,
                      QIODevice& out);
}  // namespace ini
