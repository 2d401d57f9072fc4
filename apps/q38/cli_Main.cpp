// q38: renders sound files through the engine; see q38 --help.

#include "cli_AudioFile.h"
#include "cli_Commands.h"
#include "cli_Error.h"
#include "cli_Parameters.h"

#include <iostream>

int main(int argc, char** argv)
{
    cli::removeTemporariesOnSignals();
    try {
        const cli::ParameterTable table;
        return cli::runCommandLine(std::vector<std::string>(argv + 1, argv + argc), table);
    } catch (const cli::Error& error) {
        std::cerr << "q38: " << cli::oneLine(error.what()) << std::endl;
        return error.exitStatus();
    } catch (const std::exception& error) {
        std::cerr << "q38: " << cli::oneLine(error.what()) << std::endl;
        return cli::kExitFailure;
    }
}
