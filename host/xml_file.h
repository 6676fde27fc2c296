// An XML file in memory that knows the line of every node, so that a mistake in it can be told with its
// place.
#pragma once

#include <pugixml.hpp>
#include <string>
#include <vector>

namespace host {

class XmlFile {
  public:
    // Reads and parses `path`. Throws cli::Error with file, line and reason when it cannot be read or is not
    // XML, or when its top element is not named `root`.
    XmlFile(const std::string& path, const std::string& root);
    // The same from `text`, called `name` in messages.
    XmlFile(const std::string& name, const std::string& text, const std::string& root);

    const std::string& Path() const { return path_; }
    pugi::xml_node Root() const { return document_.document_element(); }

    // "file:line" of a node, for messages.
    std::string Place(const pugi::xml_node& node) const;
    // Throws cli::Error: "file:line: what".
    [[noreturn]] void Fail(const pugi::xml_node& node, const std::string& what) const;

    // The attribute's text; Fail when it is missing.
    std::string Required(const pugi::xml_node& node, const char* attribute) const;
    // The attribute as a finite number; `fallback` when it is missing; Fail when it is not a number.
    double Number(const pugi::xml_node& node, const char* attribute, double fallback) const;
    // `text` as a finite number, Fail with the attribute's name otherwise.
    double ToNumber(const pugi::xml_node& node, const char* attribute, const std::string& text) const;
    // Fail when `node` has an attribute or child element that is not in the lists (names separated by
    // blanks).
    void Expect(const pugi::xml_node& node, const char* attributes, const char* children) const;

  private:
    void Parse(const std::string& text, const std::string& root);
    std::string Place(std::ptrdiff_t offset) const;

    std::string path_;
    std::vector<std::size_t> line_starts_;
    pugi::xml_document document_;
};

}  // namespace host
