#include "inspector/solver/word-spaces.h"

#include "inspector/input/json-tree.h"
#include "inspector/input/places.h"
#include "inspector/input/sources.h"
#include "inspector/output/json-output.h"

#include <charconv>
#include <string_view>
#include <utility>

namespace inspector {
namespace {

constexpr int addressSpace = 65536;
constexpr int largestWord = 65535;

class WordReader {
public:
    WordReader(const std::string& text, const std::string& name) : m_text(text), m_name(name) {}

    WordSpaces read() const {
        Words holding;
        Words input;
        try {
            const JsonNode root = parseJson(m_text);
            if (root.kind != JsonNode::Kind::object || root.children.empty())
                fail(root.begin, "no object with \"holding\" or \"input\"");
            for (const JsonNode& space : root.children) {
                if (space.key != "holding" && space.key != "input")
                    fail(space.keyBegin, "neither \"holding\" nor \"input\"");
                readSpace(space, space.key == "input" ? input : holding);
            }
            if (const auto rest = m_text.find_first_not_of(" \t\r\n", root.end);
                rest != std::string::npos)
                fail(rest, "text behind the words");
        } catch (const JsonFault& fault) {
            fail(fault.offset, fault.reason);
        }
        return {blocksOf(holding), blocksOf(input)};
    }

private:
    /// By address.
    using Words = std::map<int, std::uint16_t>;

    void readSpace(const JsonNode& space, Words& words) const {
        if (space.kind != JsonNode::Kind::object)
            fail(space.begin, "no object with words by address");
        for (const JsonNode& block : space.children) {
            int address = number(block.key, addressSpace - 1, block.keyBegin, "no address");
            if (block.kind != JsonNode::Kind::list)
                fail(block.begin, "no list of words");
            if (address + static_cast<int>(block.children.size()) > addressSpace)
                fail(block.begin, "words behind address 65535");
            for (const JsonNode& word : block.children)
                words[address++] = static_cast<std::uint16_t>(
                    number(std::string_view(m_text).substr(word.begin, word.end - word.begin),
                           largestWord, word.begin, "no word, 0 to 65535"));
        }
    }

    /// So that a value may reach from one block of the file into the next.
    static WordSpaces::Blocks blocksOf(const Words& words) {
        WordSpaces::Blocks blocks;
        auto block = blocks.end();
        int end = -1;
        for (const auto& [address, word] : words) {
            if (address != end)
                block = blocks.try_emplace(address).first;
            block->second.push_back(word);
            end = address + 1;
        }
        return blocks;
    }

    int number(std::string_view text, int most, std::size_t offset, const char* complaint) const {
        int value = -1;
        const auto [rest, error] = std::from_chars(text.begin(), text.end(), value);
        if (error != std::errc() || rest != text.end() || value < 0 || value > most)
            fail(offset, complaint);
        return value;
    }

    [[noreturn]] void fail(std::size_t offset, const std::string& complaint) const {
        const TextPlace place = placeOf(m_text, offset);
        throw UnreadableInput(m_name + ":" + std::to_string(place.line) + ":" +
                              std::to_string(place.column) + ": " + complaint);
    }

    const std::string& m_text;
    const std::string& m_name;
};

} // namespace

WordSpaces readWordSpaces(const std::string& text, const std::string& name) {
    return WordReader(text, name).read();
}

std::string toJson(const WordSpaces& spaces) {
    JsonOutput output;
    output.beginObject();
    for (const auto& [name, blocks] :
         {std::pair("holding", &spaces.holding), std::pair("input", &spaces.input)}) {
        output.key(name);
        output.beginObject();
        for (const auto& [address, words] : *blocks) {
            output.key(std::to_string(address));
            output.beginList();
            for (const std::uint16_t word : words)
                output.value(word);
            output.endList();
        }
        output.endObject();
    }
    output.endObject();
    return std::string(output.text());
}

} // namespace inspector
