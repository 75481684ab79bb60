#include "Documents.h"

#include <CLI/CLI.hpp>

std::vector<const CLI::App*> Documents::commandsOf(const CLI::App& app)
{
    return app.get_subcommands([](const CLI::App* sub) { return !sub->get_name().empty(); });
}

std::vector<const CLI::App*> Documents::groupsOf(const CLI::App& app)
{
    return app.get_subcommands([](const CLI::App* sub) { return sub->get_name().empty(); });
}

std::vector<const CLI::Option*> Documents::optionsOf(const CLI::App& app)
{
    // Groups of options that exclude each other are apps without a name, and have a help that
    // nobody can ask for.
    const bool isGroup = app.get_name().empty();
    std::vector<const CLI::Option*> options = app.get_options([&](const CLI::Option* option) {
        return option->nonpositional() && !(isGroup && option == app.get_help_ptr());
    });
    for (const CLI::App* group : groupsOf(app)) {
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
    if (option.get_items_expected_max() == 0)
        return {};
    std::string type = option.get_type_name();
    // Colons have a meaning in types as well, so what CLI11 allows is recognised by its words.
    for (const char* rule : {":INT in [", ":NONNEGATIVE", ":POSITIVE"})
        type = type.substr(0, type.find(rule));
    return type;
}
