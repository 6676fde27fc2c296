#include "xml_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <sstream>
#include <utility>

#include "cli/error.h"

namespace host {
namespace {

constexpr std::size_t kLongestFile = std::size_t{64} << 20;
// After so many mistakes a person has seen enough, and a broken file may hold one a byte.
constexpr std::size_t kMostMistakes = 1000;
constexpr const char* kBlanks = " \t\r\n";

bool Lists(const char* names, const char* name) {
    std::istringstream words(names);
    for (std::string word; words >> word;)
        if (word == name) return true;
    return false;
}

}  // namespace

std::string Quoted(const std::string& text) {
    constexpr std::size_t kLongest = 60;
    std::string out;
    for (const char c : text.substr(0, kLongest)) out += static_cast<unsigned char>(c) < ' ' ? ' ' : c;
    if (text.size() > kLongest) {
        // No half of a letter at the cut.
        while (!out.empty() && (static_cast<unsigned char>(out.back()) & 0xc0) == 0x80) out.pop_back();
        if (!out.empty() && static_cast<unsigned char>(out.back()) >= 0xc0) out.pop_back();
        out += "...";
    }
    return out;
}

std::string ReadTextFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw cli::Error(fmt::format("{}: cannot be opened: {}", path, std::strerror(errno)));
    std::string text;
    char block[65536];
    while (in.read(block, sizeof block), in.gcount() > 0) {
        text.append(block, static_cast<std::size_t>(in.gcount()));
        if (text.size() > kLongestFile)
            throw cli::Error(
                fmt::format("{}: is longer than {} MiB, which no project is", path, kLongestFile >> 20));
    }
    if (in.bad() || !in.eof()) throw cli::Error(fmt::format("{}: cannot be read; a file is expected", path));
    return text;
}

XmlFile::XmlFile(std::string name, const std::string& text, const std::string& root)
    : name_(std::move(name)) {
    line_starts_.push_back(0);
    for (std::size_t i = 0; i < text.size(); ++i)
        if (text[i] == '\n') line_starts_.push_back(i + 1);
    const pugi::xml_parse_result result = document_.load_buffer(text.data(), text.size());
    if (!result) {
        mistakes_.push_back({result.offset, fmt::format("not well-formed XML: {}", result.description())});
        return;
    }
    root_ = document_.document_element();
    if (root_.name() != root) {
        Mistake(root_, fmt::format("the top element is <{}>, expected <{}>", Quoted(root_.name()), root));
        root_ = {};
    }
}

std::string XmlFile::Place(std::ptrdiff_t offset) const {
    const auto at = static_cast<std::size_t>(std::max<std::ptrdiff_t>(offset, 0));
    const auto line = std::upper_bound(line_starts_.begin(), line_starts_.end(), at) - line_starts_.begin();
    return fmt::format("{}:{}", name_, std::max<std::ptrdiff_t>(line, 1));
}

void XmlFile::Mistake(const pugi::xml_node& node, const std::string& what) {
    if (mistakes_.size() < kMostMistakes) mistakes_.push_back({node.offset_debug(), what});
}

std::vector<std::string> XmlFile::Mistakes() const {
    std::vector<Entry> sorted = mistakes_;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const Entry& a, const Entry& b) { return a.offset < b.offset; });
    std::vector<std::string> out;
    for (const Entry& entry : sorted) out.push_back(Place(entry.offset) + ": " + entry.what);
    return out;
}

std::string XmlFile::Required(const pugi::xml_node& node, const char* attribute) {
    const pugi::xml_attribute a = node.attribute(attribute);
    if (!a || !*a.value())
        Mistake(node, fmt::format("<{}> needs the attribute \"{}\"", node.name(), attribute));
    return a.value();
}

double XmlFile::Number(const pugi::xml_node& node, const char* attribute, double fallback, double least,
                       double greatest) {
    const pugi::xml_attribute a = node.attribute(attribute);
    return a ? ToNumber(node, attribute, a.value(), fallback, least, greatest) : fallback;
}

double XmlFile::ToNumber(const pugi::xml_node& node, const char* attribute, const std::string& text,
                         double fallback, double least, double greatest) {
    const std::size_t first = text.find_first_not_of(kBlanks);
    const std::size_t last = text.find_last_not_of(kBlanks);
    double value = 0;
    bool is_number = first != text.npos;
    if (is_number) {
        const char* end = text.data() + last + 1;
        const auto read = std::from_chars(text.data() + first + (text[first] == '+' ? 1 : 0), end, value);
        // "inf" and "nan" are read too; no range holds them.
        is_number = read.ec == std::errc() && read.ptr == end;
    }
    if (!is_number) {
        Mistake(node, fmt::format("{}=\"{}\" is not a number", attribute, Quoted(text)));
        return fallback;
    }
    if (value >= least && value <= greatest) return value;
    Mistake(node,
            fmt::format("{}=\"{}\" is not a number from {} to {}", attribute, Quoted(text), least, greatest));
    return fallback;
}

void XmlFile::Expect(const pugi::xml_node& node, const char* attributes, const char* children) {
    for (const pugi::xml_attribute& a : node.attributes()) {
        if (node.attribute(a.name()) != a)
            Mistake(node, fmt::format("<{}> says \"{}\" twice", node.name(), Quoted(a.name())));
        else if (!Lists(attributes, a.name()))
            Mistake(node, fmt::format("<{}> has no attribute \"{}\"; expected: {}", node.name(),
                                      Quoted(a.name()), *attributes ? attributes : "none"));
    }
    for (const pugi::xml_node& child : node.children()) {
        if (child.type() == pugi::node_element && !Lists(children, child.name()))
            Mistake(child, fmt::format("<{}> cannot stand in <{}>; expected: {}", Quoted(child.name()),
                                       node.name(), *children ? children : "nothing"));
        if ((child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) &&
            std::strspn(child.value(), kBlanks) != std::strlen(child.value()))
            Mistake(child,
                    fmt::format("text cannot stand in <{}>: \"{}\"", node.name(), Quoted(child.value())));
    }
}

}  // namespace host
