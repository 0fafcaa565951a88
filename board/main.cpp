// SPDX-License-Identifier: GPL-3.0-or-later
#include "options.h"
#include "server.h"

#include <exception>
#include <iostream>

namespace {

constexpr int wrongUsage = 2;

int Serve(const Board::Options &options)
{
    Board::Server server(options);
    std::cout << "port " << server.PortName() << "\n" << std::flush;
    server.Run();
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    try {
        const Board::Options options = Board::ParseOptions({argv + 1, argv + argc});
        if (options.help) {
            std::cout << Board::HelpText();
            return 0;
        }
        return Serve(options);
    } catch (const Board::OptionError &error) {
        std::cerr << "virtual-board : " << error.message << "\nEssayez « virtual-board --help ».\n";
        return wrongUsage;
    } catch (const std::exception &error) {
        std::cerr << "virtual-board : " << error.what() << '\n';
        return 1;
    }
}
