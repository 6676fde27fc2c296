#include "effect_faults.h"

#include <fmt/format.h>

#include <fstream>
#include <sstream>

#include "fxutil/effect_document.h"
#include "fxutil/effect_parser.h"
#include "fxutil/effect_preprocessor.h"
#include "platform/shader_compiler.h"

namespace tools {
namespace {

void CompileShaders(const fxutil::EffectDocument& document, fxutil::EffectMessages& messages) {
    for (const fxutil::EffectShader& shader : document.shaders) {
        platform::CompiledShader compiled;
        std::vector<platform::CompileMessage> faults;
        if (platform::CompileShader({document.hlsl, shader.entry, shader.profile}, compiled, faults))
            continue;
        for (const platform::CompileMessage& fault : faults)
            messages.Error(fault.line > 0 ? fxutil::TextPosition{fault.line, fault.column} : shader.at,
                           fault.text);
        if (faults.empty()) messages.Error(shader.at, "'" + shader.entry + "' does not compile");
    }
}

}  // namespace

std::vector<std::string> EffectFaults(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream bytes;
    if (!in || !(bytes << in.rdbuf())) return {fmt::format("{}: error: the file cannot be read", path)};
    const std::string source = bytes.str();
    fxutil::EffectMessages messages(path);
    fxutil::PreprocessedText text;
    fxutil::EffectDocument document;
    if (fxutil::Preprocess(source, nullptr, text, messages) &&
        fxutil::ParseEffect(text, document, messages)) {
        CompileShaders(document, messages);
        if (document.techniques.empty()) messages.Error({}, "there is no technique");
    }
    std::vector<std::string> lines;
    std::istringstream all(messages.Text());
    for (std::string line; std::getline(all, line);)
        if (!line.empty()) lines.push_back(line);
    return lines;
}

}  // namespace tools
