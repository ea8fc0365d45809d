#pragma once

#include <initializer_list>
#include <iosfwd>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

// The base layer's helpers for numbers, text and files. Each keeps the peculiarities that its
// callers count on; they are told here. Unless said otherwise, any thread may call them.

namespace orv {

// Numbers from text. Blanks at the start are skipped; what follows must be a number to its end. In
// base 0 of the C library "0x10" is hexadecimal and "010" octal. A number that doesn't fit the
// result is cut to its low bits; the unsigned ones take a "-" and wrap around. For any other text
// the forms with a default return that, and the others throw `std::invalid_argument` with the text.
// vx/str.h has stricter ones.

int strToIntDef(const std::string& value, int defaultValue);
unsigned strToUIntDef(const std::string& value, unsigned defaultValue);
/// The default has only 32 bits.
unsigned long long strToULongLongDef(const std::string& value, unsigned defaultValue);
/// Also "inf", "nan" and hexadecimal numbers.
double strToDouble(const std::string& value, double defaultValue);
int strToInt(const std::string& value);
unsigned strToUInt(const std::string& value);
/// Its exception names "strToUInt".
unsigned long long strToULongLong(const std::string& value);
double strToDouble(const std::string& value);

// Numbers to text.

/// Decimal text of @p value, or "0x" and lower-case hexadecimal digits; those of a negative number
/// are the ones of its 64 bits.
std::string intToString(long long value, bool hex);
std::string uintToString(unsigned long long value, bool hex);
/// Six significant digits.
std::string doubleToString(double value);
std::string unsignedLongIntToString(unsigned long long value);
/// Lower case, without a prefix.
std::string unsignedLongIntToHexString(unsigned long long value);
/// Two lower-case hexadecimal digits per byte, nothing between them.
std::string hexEncodeByteArray(const unsigned char* data, unsigned size);

// Text.

/// Without blanks, tabs and line ends at both ends.
std::string trim(const std::string& s);
/// The parts between the delimiters, empty ones included; an empty text is one empty part. A
/// delimiter behind a backslash does not separate, and the backslash stays.
std::vector<std::string> splitString(const std::string& s, char delimiter, bool trimEntries);
/// What stands ahead of the first "=" and what stands behind it; without one both are empty.
std::pair<std::string, std::string> splitIntoKeyValue(const std::string& s);
std::string join(const std::vector<std::string>& parts, const std::string& delimiter);
/// Replaces in place and never looks at a replacement again. Nothing happens for an empty @p from.
void replaceAll(std::string& s, const std::string& from, const std::string& to);
/// Position of the first @p c at or behind @p from that has no backslash ahead of it, or `npos` if
/// there is none. Each @p c that is passed over on the way loses its backslash, so the text gets
/// shorter.
std::string::size_type findAndUnescape(std::string& s, char c, unsigned from);
bool beginsWith(const std::string& s, const std::string& prefix);
bool endsWith(const std::string& s, const std::string& suffix);
/// The part ahead of the first "/"; @p path keeps what is behind it. Without a "/" the whole text
/// is returned and @p path becomes empty.
std::string carCdrPath(std::string& path);
/// With a "/" at its end, despite the name.
std::string addTrailingBackslash(const std::string& path);
/// Four blanks per unit.
std::string doIndent(int n);
/// Percent-encodes all but letters, digits and "-._~". Throws `std::bad_alloc`. For one thread at a
/// time.
std::string urlEncode(const std::string& s);
/// @p s with the five special characters as entities and control characters, apart from tab and
/// line ends, as two-digit references. Empty, with a warning on the channel "System", if @p s is
/// not UTF-8. Ends at the first NUL.
// NOLINTNEXTLINE(readability-identifier-naming): its callers know it so
std::string XMLStringEscape(const std::string& s);
/// @p s, or an empty string with an error line if it is not UTF-8. For one thread at a time.
std::string fixUtf8(const std::string& s);
/// At most @p maxBytes of @p s, without a part of a character at the cut. A text that is cut ends
/// at its first NUL at the latest. One that isn't cut is returned as it is, whatever it holds.
std::string truncateUTF8String(const std::string& s, unsigned maxBytes);

// Files, time and others.

/// Whole file, byte for byte. Throws `std::invalid_argument` "Failed to read file:" with name and
/// reason.
std::string readFile(const std::string& filename);
/// Whether the file can be read and written.
bool rwAccess(const std::string& filename);
/// Syncs a file that others have written. There is no result; a file that can't be opened is passed
/// over.
void syncFile(const std::string& filename);
/// "/tmp/"
std::string getTempDir();
// A signal ends a sleep early.
void sleepSeconds(unsigned seconds);
/// For up to 4294967 ms, which are 71 minutes.
void sleepMS(unsigned milliseconds);
/// Rounded to that many decimal places, halves away from zero; a negative number of places rounds
/// ahead of the point.
double roundDigits(double v, int digits);
/// Takes one more byte into a CRC-16 whose bits are reflected: lowest bit first, polynomial
/// reversed, as 0xA001 for that of Modbus.
// NOLINTNEXTLINE(readability-identifier-naming): its callers know it so
unsigned short update_crc(unsigned short crc, const unsigned char& byte, unsigned short polynomial);
/// CRC-16 of @p size bytes that starts at 0; 0 if there are none.
unsigned short crc16(const unsigned char* data, int size, unsigned short polynomial);

/// Texts by key. Setting a key that exists replaces its value; removing one that doesn't is no
/// failure.
class Properties {
public:
    Properties() = default;
    Properties(std::initializer_list<std::pair<const std::string, std::string>> properties);

    bool has(const std::string& key) const;
    /// Throws `std::invalid_argument` if there is no such key.
    std::string get(const std::string& key) const;
    std::string get(const std::string& key, const std::string& defaultValue) const;
    void set(const std::string& key, const std::string& value);
    void unset(const std::string& key);
    /// ` "key":"value"` for each pair, in no particular order; nothing is escaped.
    std::string toString() const;

private:
    std::unordered_map<std::string, std::string> m_properties;
};

std::ostream& operator<<(std::ostream& stream, const Properties& properties);

} // namespace orv
