// SPDX-License-Identifier: GPL-3.0-or-later
// Feeds a target, without any fuzzer, the files of a corpus and then changed copies of them, the same ones for the same
// seed:
//     fuzz_slave COUNT FOLDER [SEED]
// An input that ends the program is left as crash-input; fuzz_slave FILE runs it again.

#include "check.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

namespace {
constexpr unsigned usualSeed = 20260719;

std::string ReadFile(const std::filesystem::path &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<std::string> ReadFolder(const std::filesystem::path &folder)
{
    std::vector<std::filesystem::path> paths(std::filesystem::directory_iterator(folder), {});
    std::ranges::sort(paths);
    std::vector<std::string> files;
    for (const auto &path : paths)
        files.push_back(ReadFile(path));
    return files;
}

class Mutator
{
public:
    Mutator(const std::vector<std::string> &corpus, unsigned seed) : corpus_(corpus), random_(seed) {}

    /// A file of the corpus, cut to a manageable length, with a few things wrong in it; now and then just any bytes.
    std::string Next()
    {
        if (Below(16) == 0)
            return Noise();
        constexpr size_t longest = 8000;
        std::string text = Any();
        text.resize(std::min(text.size(), longest));
        for (size_t changes = 1 + Below(4); changes > 0; --changes)
            Change(text);
        return text;
    }

private:
    size_t Below(size_t limit) { return limit == 0 ? 0 : random_() % limit; }
    const std::string &Any() { return corpus_[Below(corpus_.size())]; }
    std::string Noise()
    {
        std::string bytes(Below(200), '\0');
        std::ranges::generate(bytes, [this] { return static_cast<char>(Below(256)); });
        return bytes;
    }
    char Character()
    {
        static const std::string likely("0123456789ABCDEFabcdefg:,-+. \r\n\t\0\x1A\xFF", 36);
        return Below(4) == 0 ? static_cast<char>(Below(256)) : likely[Below(likely.size())];
    }
    void Change(std::string &text)
    {
        const size_t at = Below(text.size() + 1);
        const size_t length = Below(std::min<size_t>(text.size() - at + 1, 50));
        switch (Below(6)) {
        case 0:
            text.insert(at, 1, Character());
            break;
        case 1:
            text.erase(at, length);
            break;
        case 2:
            text.insert(at, text.substr(at, length));
            break;
        case 3:
            text.resize(at);
            break;
        case 4: {
            const std::string &other = Any();
            const size_t from = Below(other.size() + 1);
            text.insert(at, other.substr(from, Below(100)));
            break;
        }
        default:
            if (at < text.size())
                text[at] = Character();
        }
    }

    const std::vector<std::string> &corpus_;
    std::mt19937 random_;
};

std::string current; ///< the input at hand

void KeepInput(int signal)
{
    std::ofstream("crash-input", std::ios::binary) << current;
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

void Run(std::string text)
{
    current = std::move(text);
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(current.data()), current.size());
}
} // namespace

int main(int argc, char *argv[])
{
    std::signal(SIGABRT, KeepInput);
    std::signal(SIGSEGV, KeepInput);
    if (argc == 2) {
        Run(ReadFile(argv[1]));
        return 0;
    }
    const bool wellCalled = argc == 3 || argc == 4;
    const std::vector<std::string> corpus = wellCalled ? ReadFolder(argv[2]) : std::vector<std::string>();
    if (corpus.empty()) {
        std::fputs("usage: COUNT FOLDER [SEED]\n       FILE\n", stderr);
        return 2;
    }
    const auto began = std::chrono::steady_clock::now();
    for (const std::string &file : corpus)
        Run(file);
    const long count = std::stol(argv[1]);
    Mutator mutator(corpus, argc == 4 ? static_cast<unsigned>(std::stoul(argv[3])) : usualSeed);
    for (long left = count; left > 0; --left)
        Run(mutator.Next());
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - began;
    std::printf("%ld inputs in %.1f s\n", count, took.count());
    return 0;
}
