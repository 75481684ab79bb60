#include "Documents.h"

#include <CLI/CLI.hpp>

std::vector<const CLI::App*> Documents::commandsOf(const CLI::App& app)
{
    return app.get_subcommands([](const CLI::App* sub) { return !sub->get_name().empty(); });
}

std::vector<const CLI::Option*> Documents::optionsOf(const CLI::App& app)
{
    // Groups of options that exclude each other are apps without a name, and have a help that
    // nobody can ask for.
    const bool isGroup = app.get_name().empty();
    std::vector<const CLI::Option*> options = app.get_options([&](const CLI::Option* option) {
        return option->nonpositional() && !(isGroup && option == app.get_help_ptr());
    });
    const std::vector<const CLI::App*> groups
        = app.get_subcommands([](const CLI::App* sub) { return sub->get_name().empty(); });
    for (const CLI::App* group : groups) {
        const auto more = optionsOf(*group);
        options.insert(options.end(), more.begin(), more.end());
    }
    return options;
}

std::vector<std::string> Documents::namesOf(const CLI::Option& option)
{
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames())
        names.push_back("-" + name);
    for (const std::string& name : option.get_lnames())
        names.push_back("--" + name);
    return names;
}

std::string Documents::valueOf(const CLI::Option& option)
{
    // What is allowed follows a colon.
    const std::string type = option.get_type_name();
    return option.get_items_expected_max() > 0 ? type.substr(0, type.find(':')) : std::string();
}
