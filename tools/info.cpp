#include "info.h"

#include <fmt/format.h>

#include <cctype>
#include <iterator>

namespace tools {
namespace {

const char* FormName(Form form) {
    return form == Form::Plain ? "plain" : form == Form::Packed ? "packed" : "animation";
}

std::string Quoted(const std::string& text) {
    std::string out = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\')
            (out += '\\') += c;
        else if (byte < 0x20 || byte >= 0x7f)
            out += fmt::format("\\u{:04x}", byte);  // bytes as Latin-1: file names have no stated encoding
        else
            out += c;
    }
    return out + '"';
}

std::string Plain(const std::string& text) {
    std::string out;
    for (const char c : text) out += std::isprint(static_cast<unsigned char>(c)) ? c : '?';
    return out;
}

void Print(std::string& out, const Node& node, unsigned depth) {
    const std::string indent(2 * static_cast<std::size_t>(depth), ' ');
    auto to = std::back_inserter(out);
    switch (node.kind) {
        case Node::Kind::Null:
            fmt::format_to(to, "{}{}: none\n", indent, node.slot);
            break;
        case Node::Kind::Reference:
            fmt::format_to(to, "{}{}: object {}\n", indent, node.slot, node.id);
            break;
        case Node::Kind::Chunk:
            fmt::format_to(to, "{}{}: {} {} version {}, object {}, at {}, {} bytes\n", indent, node.slot,
                           node.tag, node.class_name.empty() ? "(not known, skipped)" : node.class_name,
                           node.version, node.id, node.offset, node.size);
            break;
    }
    for (const Field& field : node.fields)
        fmt::format_to(to, "{}  - {} {}\n", indent, field.name, Plain(field.text));
    for (const Node& child : node.children) Print(out, child, depth + 1);
}

// Floats print as JSON numbers except for what JSON has no word for.
std::string JsonNumber(const std::string& text) {
    return text.find("inf") != text.npos || text.find("nan") != text.npos ? Quoted(text) : text;
}

void Json(std::string& out, const Node& node) {
    auto to = std::back_inserter(out);
    fmt::format_to(to, "{{\"slot\":{}", Quoted(node.slot));
    if (node.kind == Node::Kind::Null) {
        out += ",\"kind\":\"null\"";
    } else if (node.kind == Node::Kind::Reference) {
        fmt::format_to(to, ",\"kind\":\"reference\",\"id\":{}", node.id);
    } else {
        fmt::format_to(to,
                       ",\"kind\":\"chunk\",\"tag\":{},\"class\":{},\"version\":{},\"id\":{},\"offset\":{},"
                       "\"size\":{}",
                       Quoted(node.tag), node.class_name.empty() ? "null" : Quoted(node.class_name),
                       node.version, node.id, node.offset, node.size);
    }
    if (!node.fields.empty()) {
        out += ",\"fields\":[";
        for (std::size_t i = 0; i < node.fields.size(); ++i) {
            const Field& field = node.fields[i];
            fmt::format_to(to, "{}{{\"name\":{},\"value\":{}}}", i ? "," : "", Quoted(field.name),
                           field.number ? JsonNumber(field.text) : Quoted(field.text));
        }
        out += "]";
    }
    if (!node.children.empty()) {
        out += ",\"children\":[";
        for (std::size_t i = 0; i < node.children.size(); ++i) {
            if (i) out += ",";
            Json(out, node.children[i]);
        }
        out += "]";
    }
    out += "}";
}

}  // namespace

std::string TreeAsText(const std::string& path, const Envelope& envelope, const ChunkTree& tree) {
    std::string out = fmt::format("{}: {}, {} bytes", path, FormName(envelope.form), envelope.stored_size);
    if (envelope.form == Form::Packed) out += fmt::format(" ({} unpacked)", envelope.objects.size());
    out += fmt::format(", {} chunks\n", tree.chunk_count);
    Print(out, tree.root, 0);
    for (const Fault& fault : tree.faults) out += fmt::format("fault at {}: {}\n", fault.offset, fault.what);
    return out;
}

std::string TreeAsJson(const std::string& path, const Envelope& envelope, const ChunkTree& tree) {
    std::string out = fmt::format(
        "{{\"file\":{},\"form\":\"{}\",\"stored_size\":{},\"object_size\":{},\"chunks\":{},", Quoted(path),
        FormName(envelope.form), envelope.stored_size, envelope.objects.size(), tree.chunk_count);
    out += "\"faults\":[";
    for (std::size_t i = 0; i < tree.faults.size(); ++i)
        out += fmt::format("{}{{\"offset\":{},\"what\":{}}}", i ? "," : "", tree.faults[i].offset,
                           Quoted(tree.faults[i].what));
    out += "],\"root\":";
    Json(out, tree.root);
    return out + "}\n";
}

}  // namespace tools
