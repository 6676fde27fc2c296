#include "platform/gl/hlsl_front_end.h"

// The library is built with it, and its headers leave these parts out without it.
#define ENABLE_HLSL 1
#include <glslang/Public/ResourceLimits.h>
#include <glslang/Public/ShaderLang.h>
#include <glslang/SPIRV/GlslangToSpv.h>

#include <charconv>
#include <utility>

namespace platform::gl {
namespace {

constexpr std::size_t kMostMessages = 20;

// The library's tables, made with the first shader and freed with the module.
class Process {
  public:
    static void Ensure() { static const Process process; }

  private:
    Process() { glslang::InitializeProcess(); }
    ~Process() { glslang::FinalizeProcess(); }
};

// A log holds lines of the form "ERROR: 0:12: 'token' : text", and a summary.
void TakeLog(std::string_view log, std::string_view original, std::vector<CompileMessage>& messages) {
    constexpr std::string_view kError = "ERROR: ";
    while (!log.empty() && messages.size() < kMostMessages) {
        const std::size_t end = log.find('\n');
        std::string_view row = log.substr(0, end);
        log.remove_prefix(end == std::string_view::npos ? log.size() : end + 1);
        if (!row.starts_with(kError)) continue;
        row.remove_prefix(kError.size());
        CompileMessage message;
        const std::size_t first = row.find(':');
        const std::size_t second = first != std::string_view::npos ? row.find(':', first + 1) : first;
        if (second != std::string_view::npos) {
            const auto parsed = std::from_chars(row.data() + first + 1, row.data() + second, message.line);
            if (parsed.ptr == row.data() + second && parsed.ec == std::errc()) {
                row.remove_prefix(std::min(second + 2, row.size()));
            } else {
                message.line = 0;
            }
        }
        // The summary at the end has no place and says nothing.
        if (message.line == 0 && row.find("compilation errors") != std::string_view::npos) continue;
        std::string_view token;
        if (row.starts_with('\'')) {
            const std::size_t quote = row.find('\'', 1);
            if (quote != std::string_view::npos) token = row.substr(1, quote - 1);
        }
        if (row.starts_with("'' : ")) row.remove_prefix(5);
        while (!row.empty() && row.back() == ' ') row.remove_suffix(1);
        if (message.line != 0) message.column = ColumnOf(original, message.line, token);
        message.text = row;
        messages.push_back(std::move(message));
    }
    if (messages.empty()) messages.push_back({0, 0, "the shader does not compile"});
}

}  // namespace

bool ReadHlsl(const HlslScan& scan, std::string_view original, const std::string& entry, bool vertex,
              std::vector<u32>& words, std::vector<CompileMessage>& messages) {
    Process::Ensure();
    const EShLanguage stage = vertex ? EShLangVertex : EShLangFragment;
    constexpr int kHlslVersion = 500;
    constexpr auto kFlags =
        static_cast<EShMessages>(EShMsgReadHlsl | EShMsgSpvRules | EShMsgVulkanRules |
                                 EShMsgHlslDX9Compatible | EShMsgHlslOffsets | EShMsgSuppressWarnings);
    glslang::TShader shader(stage);
    const char* const text = scan.text.data();
    const int length = static_cast<int>(scan.text.size());
    shader.setStringsWithLengths(&text, &length, 1);
    shader.setEntryPoint(entry.c_str());
    shader.setEnvInput(glslang::EShSourceHlsl, stage, glslang::EShClientVulkan, 100);
    shader.setEnvClient(glslang::EShClientVulkan, glslang::EShTargetVulkan_1_0);
    shader.setEnvTarget(glslang::EShTargetSpv, glslang::EShTargetSpv_1_0);
    shader.setEnvTargetHlslFunctionality1();
    shader.setHlslIoMapping(true);
    if (!shader.parse(GetDefaultResources(), kHlslVersion, false, kFlags)) {
        TakeLog(shader.getInfoLog(), original, messages);
        return false;
    }
    glslang::TProgram program;
    program.addShader(&shader);
    if (!program.link(kFlags)) {
        TakeLog(program.getInfoLog(), original, messages);
        return false;
    }
    const glslang::TIntermediate* tree = program.getIntermediate(stage);
    if (tree == nullptr) {
        messages.push_back({0, 0, "the shader does not compile"});
        return false;
    }
    spv::SpvBuildLogger logger;
    glslang::SpvOptions options;
    options.disableOptimizer = true;
    glslang::GlslangToSpv(*tree, words, &logger, &options);
    return true;
}

void PrepareFrontEnd(bool vertex) {
    static bool prepared[2];
    if (std::exchange(prepared[vertex ? 1 : 0], true)) return;
    HlslScan scan;
    scan.text = vertex ? "float4 f() : POSITION { return 0; }" : "float4 f() : COLOR { return 0; }";
    std::vector<u32> words;
    std::vector<CompileMessage> messages;
    ReadHlsl(scan, scan.text, "f", vertex, words, messages);
}

}  // namespace platform::gl
