// om2: looks into, checks, converts and makes .om2 scene files.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <string>

#include "cli/system.h"
#include "commands.h"

// NOLINTNEXTLINE(bugprone-exception-escape): outside the try blocks only a mistake in the options throws.
int main(int argc, char** argv) {
    cli::PrepareStreams();
    CLI::App app{"Looks into, checks, converts and makes .om2 scene files", "om2"};
    app.allow_windows_style_options(false);  // "/a/file" is a file on any system
    app.require_subcommand(1);

    std::string in, out;
    std::string cube_map;
    bool json = false, embed = false, list = false;
    tools::ImportOptions import_options;

    CLI::App* info = app.add_subcommand("info", "print what a file holds");
    info->add_option("FILE", in, "the scene file")->required();
    info->add_flag("--json", json, "as JSON");

    CLI::App* check = app.add_subcommand("check", "say what keeps a file from loading or drawing");
    check->add_option("FILE", in, "the scene file")->required();

    CLI::App* pack = app.add_subcommand("pack", "write the packed form");
    pack->add_option("IN", in, "the scene file")->required();
    pack->add_option("-o,--output", out, "the packed file")->required();
    pack->add_flag("--embed", embed, "take the image files in that the scene names");

    CLI::App* unpack = app.add_subcommand("unpack", "write the plain form");
    unpack->add_option("IN", in, "the scene file")->required();
    unpack->add_option("-o,--output", out, "the plain file")->required();

    CLI::App* import_command =
        app.add_subcommand("import", "make a scene of a model (glTF, FBX, OBJ, Collada, ...)");
    import_command->add_option("MODEL", import_options.model, "the model file")->required();
    CLI::Option* output = import_command->add_option("-o,--output", import_options.out,
                                                     "the scene file; needed without --list");
    import_command->add_flag("--list", list,
                             "print what the model holds, its animations above all, and no more");
    import_command->add_option("--animation", import_options.animation,
                               "which animation, by name or number; none: the model at rest. Else the first");
    import_command->add_option("--texture", import_options.texture, "the image of a model that names none");
    import_command->add_flag("--embed", import_options.embed, "take the image files into the scene");
    import_command
        ->add_option("--fps", import_options.frames_per_second,
                     "sample motion this often instead of taking its keys")
        ->check(CLI::Range(1.0, 1000.0));
    import_command->add_flag("--shadows", import_options.shadows, "let the brightest light cast shadows");
    CLI::Option* cube = import_command->add_option("--cube", cube_map, "a .dds cube map as the background");
    import_command
        ->add_option("--cube-faces", import_options.cube,
                     "six square images as the background: UP DOWN LEFT RIGHT BACK FRONT")
        ->expected(6)
        ->excludes(cube);

    try {
        app.parse(argc, argv);
        if (*import_command && !list && import_options.out.empty())
            throw CLI::RequiredError(output->get_name());
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    try {
        if (*info) tools::Info(in, json);
        if (*check) return tools::Check(in) ? 0 : 1;
        if (*pack) tools::Pack(in, out, embed);
        if (*unpack) tools::Unpack(in, out);
        if (!cube_map.empty()) import_options.cube = {cube_map};
        if (*import_command && list)
            tools::ListModel(import_options);
        else if (*import_command)
            tools::Import(import_options);
    } catch (const std::exception& error) {
        std::fflush(stdout);
        std::fprintf(stderr, "om2: %s\n", error.what());
        return 1;
    }
    return 0;
}
