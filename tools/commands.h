// The commands of om2. Each throws cli::Error with one line for a person when it cannot do what was asked.
#pragma once

#include <string>
#include <vector>

namespace tools {

// Prints the tree of objects to standard output.
void Info(const std::string& file, bool json);

// Prints what keeps `file` from loading or drawing. True when nothing does.
bool Check(const std::string& file);

// Writes the packed form of `in`. With `embed` image files that the scene names are taken in.
void Pack(const std::string& in, const std::string& out, bool embed);

// Writes the plain form of `in`.
void Unpack(const std::string& in, const std::string& out);

struct ImportOptions {
    std::string model, out, texture, animation;
    std::vector<std::string> cube;  // as BuildOptions has it
    bool embed = false, shadows = false;
    double frames_per_second = 0;
};
void Import(const ImportOptions& options);

// Prints what a model holds: its counts and its animations.
void ListModel(const ImportOptions& options);

}  // namespace tools
