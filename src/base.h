#pragma once

#include <initializer_list>
#include <iosfwd>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

// The text helpers of the older base layer, each with the peculiarities that its callers know.

namespace orv {

// Numbers from text: all of it, in base 0 of the C library, so "0x10" is hexadecimal and "010"
// octal. The forms with a default return it for anything else; the others throw
// `std::invalid_argument`.

int strToIntDef(const std::string& value, int defaultValue);
unsigned strToUIntDef(const std::string& value, unsigned defaultValue);
/// The default has only 32 bits.
unsigned long long strToULongLongDef(const std::string& value, unsigned defaultValue);
double strToDouble(const std::string& value, double defaultValue);
int strToInt(const std::string& value);
unsigned strToUInt(const std::string& value);
unsigned long long strToULongLong(const std::string& value);
double strToDouble(const std::string& value);

// Numbers to text.

/// Decimal text of @p value, or "0x" and hexadecimal digits.
std::string intToString(long long value, bool hex);
std::string uintToString(unsigned long long value, bool hex);
/// Six significant digits.
std::string doubleToString(double value);
std::string unsignedLongIntToString(unsigned long long value);
/// Lower case, without a prefix.
std::string unsignedLongIntToHexString(unsigned long long value);
/// Two hexadecimal digits per byte.
std::string hexEncodeByteArray(const unsigned char* data, unsigned size);

// Text.

/// Without blanks, tabs and line ends at both ends.
std::string trim(const std::string& s);
/// The parts between the delimiters. One behind a backslash does not separate, and the backslash
/// stays.
std::vector<std::string> splitString(const std::string& s, char delimiter, bool trimEntries);
/// Cut at the first "="; without one both are empty.
std::pair<std::string, std::string> splitIntoKeyValue(const std::string& s);
std::string join(const std::vector<std::string>& parts, const std::string& delimiter);
/// Replaces in place and never looks at a replacement again.
void replaceAll(std::string& s, const std::string& from, const std::string& to);
/// Position of the first @p c from @p from on that no backslash precedes, or `npos`; the
/// backslashes of the ones ahead of it are erased.
std::string::size_type findAndUnescape(std::string& s, char c, unsigned from);
bool beginsWith(const std::string& s, const std::string& prefix);
bool endsWith(const std::string& s, const std::string& suffix);
/// The part before the first "/"; what is behind it stays in @p path.
std::string carCdrPath(std::string& path);
/// With a "/" at its end, despite the name.
std::string addTrailingBackslash(const std::string& path);
/// Four blanks per unit.
std::string doIndent(int n);
/// Throws `std::bad_alloc`. For one thread at a time.
std::string urlEncode(const std::string& s);
/// Empty, with a warning, if @p s is not UTF-8. Ends at the first NUL.
// NOLINTNEXTLINE(readability-identifier-naming): as older code has it
std::string XMLStringEscape(const std::string& s);
/// @p s, or an empty string with an error line if it is not UTF-8. For one thread at a time.
std::string fixUtf8(const std::string& s);
/// At most @p maxBytes of @p s, never ending in the middle of a character of up to six bytes.
std::string truncateUTF8String(const std::string& s, unsigned maxBytes);

// Files, time and others.

/// Whole file; throws `std::invalid_argument`.
std::string readFile(const std::string& filename);
/// Whether the file can be read and written.
bool rwAccess(const std::string& filename);
/// Syncs a file that others have written.
void syncFile(const std::string& filename);
std::string getTempDir();
void sleepSeconds(unsigned seconds);
void sleepMS(unsigned milliseconds);
double roundDigits(double v, int digits);
/// One byte of a reflected CRC-16.
// NOLINTNEXTLINE(readability-identifier-naming): as older code has it
unsigned short update_crc(unsigned short crc, const unsigned char& byte, unsigned short polynomial);
unsigned short crc16(const unsigned char* data, int size, unsigned short polynomial);

/// Values by key.
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
