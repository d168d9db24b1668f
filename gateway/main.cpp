// plug-gateway - the platform's end for a fleet of routers, on NATS. One subcommand for each thing that it does.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <spdlog/spdlog.h>

#include "gateway/Commands.h"
#include "gateway/Gateway.h"

using namespace gateway;

int main(int argc, char *argv[])
{
    CLI::App app("The platform's end for a fleet of routers, on NATS");
    app.require_subcommand(1);
    app.fallthrough(); // options of the message system may stand behind the subcommand
    app.set_config("--config", "", "a file with these options, those of a subcommand below its name in brackets");
    BusOptions bus;
    AddBusOptions(&app, &bus);

    RunOptions options;
    CLI::App *const run = app.add_subcommand("run", "serve routers until SIGTERM");
    AddRunOptions(run, &options);
    run->callback([&] {
        spdlog::set_level(spdlog::level::from_str(options.logLevel));
        Gateway(options, bus).Run();
    });
    AddDeviceCommands(&app, bus);
    AddAskCommand(&app, bus);
    AddUpdateCommand(&app, bus);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error);
    } catch (const std::exception &error) {
        fprintf(stderr, "plug-gateway: %s\n", error.what());
        return 1;
    }
    return 0;
}
