// An XML file in memory that knows the line of every node, and keeps what is found wrong with it, each
// mistake with its place.
#pragma once

#include <pugixml.hpp>
#include <string>
#include <vector>

namespace host {

// Reads `path` whole. Throws cli::Error when that fails, or when it is longer than a text file of this kind
// can be.
std::string ReadTextFile(const std::string& path);

// What a file says, fit for a message: one line of a bearable length.
std::string Quoted(const std::string& text);

class XmlFile {
  public:
    // Parses `text`, called `name` in messages, whose top element is to be `root`. When it is not XML, or
    // another element, that is its one mistake and Root is empty.
    XmlFile(std::string name, const std::string& text, const std::string& root);

    const std::string& Name() const { return name_; }
    pugi::xml_node Root() const { return root_; }

    // "file:line" of a node, for messages.
    std::string Place(const pugi::xml_node& node) const { return Place(node.offset_debug()); }

    // Notes that something is wrong at `node`.
    void Mistake(const pugi::xml_node& node, const std::string& what);
    bool IsFine() const { return mistakes_.empty(); }
    // "file:line: what", in the order of the lines.
    std::vector<std::string> Mistakes() const;

    // The following note a mistake where they find one, and give what is best to go on with.

    // The attribute's text; a mistake when it is missing or empty.
    std::string Required(const pugi::xml_node& node, const char* attribute);
    // The attribute as a number from `least` to `greatest`; `fallback` when it is missing or wrong.
    double Number(const pugi::xml_node& node, const char* attribute, double fallback, double least,
                  double greatest);
    // `text`, the value of `attribute`, as such a number.
    double ToNumber(const pugi::xml_node& node, const char* attribute, const std::string& text,
                    double fallback, double least, double greatest);
    // Mistakes are attributes, child elements and text that are not in the lists (names separated by blanks).
    void Expect(const pugi::xml_node& node, const char* attributes, const char* children);

  private:
    struct Entry {
        std::ptrdiff_t offset;
        std::string what;
    };

    std::string Place(std::ptrdiff_t offset) const;

    std::string name_;
    std::vector<std::size_t> line_starts_;
    pugi::xml_document document_;
    pugi::xml_node root_;
    std::vector<Entry> mistakes_;
};

}  // namespace host
