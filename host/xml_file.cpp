#include "xml_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>

#include "cli/error.h"

namespace host {
namespace {

bool Lists(const char* names, const char* name) {
    std::istringstream words(names);
    for (std::string word; words >> word;)
        if (word == name) return true;
    return false;
}

}  // namespace

XmlFile::XmlFile(const std::string& path, const std::string& root) : path_(path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw cli::Error(fmt::format("{}: cannot be opened: {}", path, std::strerror(errno)));
    std::string text{std::istreambuf_iterator<char>(in), {}};
    if (in.bad() || (text.empty() && !in.eof()))
        throw cli::Error(fmt::format("{}: cannot be read; a file is expected", path));
    Parse(text, root);
}

XmlFile::XmlFile(const std::string& name, const std::string& text, const std::string& root) : path_(name) {
    Parse(text, root);
}

void XmlFile::Parse(const std::string& text, const std::string& root) {
    line_starts_.push_back(0);
    for (std::size_t i = 0; i < text.size(); ++i)
        if (text[i] == '\n') line_starts_.push_back(i + 1);
    const pugi::xml_parse_result result = document_.load_buffer(text.data(), text.size());
    if (!result) {
        throw cli::Error(
            fmt::format("{}: not well-formed XML: {}", Place(result.offset), result.description()));
    }
    if (Root().name() != root)
        Fail(Root(), fmt::format("the top element is <{}>, expected <{}>", Root().name(), root));
}

std::string XmlFile::Place(std::ptrdiff_t offset) const {
    const auto at = static_cast<std::size_t>(std::max<std::ptrdiff_t>(offset, 0));
    const auto line = std::upper_bound(line_starts_.begin(), line_starts_.end(), at) - line_starts_.begin();
    return fmt::format("{}:{}", path_, std::max<std::ptrdiff_t>(line, 1));
}

std::string XmlFile::Place(const pugi::xml_node& node) const { return Place(node.offset_debug()); }

void XmlFile::Fail(const pugi::xml_node& node, const std::string& what) const {
    throw cli::Error(fmt::format("{}: {}", Place(node), what));
}

std::string XmlFile::Required(const pugi::xml_node& node, const char* attribute) const {
    const pugi::xml_attribute a = node.attribute(attribute);
    if (!a || !*a.value()) Fail(node, fmt::format("<{}> needs the attribute \"{}\"", node.name(), attribute));
    return a.value();
}

double XmlFile::Number(const pugi::xml_node& node, const char* attribute, double fallback) const {
    const pugi::xml_attribute a = node.attribute(attribute);
    return a ? ToNumber(node, attribute, a.value()) : fallback;
}

double XmlFile::ToNumber(const pugi::xml_node& node, const char* attribute, const std::string& text) const {
    double value = 0;
    std::istringstream in(text);
    in.imbue(std::locale::classic());
    std::string rest;
    if (!(in >> value) || (in >> rest) || !std::isfinite(value))
        Fail(node, fmt::format("{}=\"{}\" is not a number", attribute, text));
    return value;
}

void XmlFile::Expect(const pugi::xml_node& node, const char* attributes, const char* children) const {
    for (const pugi::xml_attribute& a : node.attributes())
        if (!Lists(attributes, a.name()))
            Fail(node, fmt::format("<{}> has no attribute \"{}\"; expected: {}", node.name(), a.name(),
                                   *attributes ? attributes : "none"));
    for (const pugi::xml_node& child : node.children())
        if (child.type() == pugi::node_element && !Lists(children, child.name()))
            Fail(child, fmt::format("<{}> cannot stand in <{}>; expected: {}", child.name(), node.name(),
                                    *children ? children : "nothing"));
}

}  // namespace host
