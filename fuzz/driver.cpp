// Feeds a target, without any fuzzer, the files of a corpus and then changed copies of them, always the same ones:
//     fuzz_slave COUNT FOLDER

#include "check.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

namespace {
std::vector<std::string> ReadFolder(const std::filesystem::path &folder)
{
    std::vector<std::filesystem::path> paths(std::filesystem::directory_iterator(folder), {});
    std::ranges::sort(paths);
    std::vector<std::string> files;
    for (const auto &path : paths) {
        std::ifstream file(path, std::ios::binary);
        files.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return files;
}

class Mutator
{
public:
    explicit Mutator(const std::vector<std::string> &corpus) : corpus_(corpus) {}

    /// A file of the corpus, cut to a manageable length, with a few things wrong in it.
    std::string Next()
    {
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
    std::mt19937 random_{20260719};
};

void Run(const std::string &text)
{
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(text.data()), text.size());
}
} // namespace

int main(int argc, char *argv[])
{
    const std::vector<std::string> corpus = argc == 3 ? ReadFolder(argv[2]) : std::vector<std::string>();
    if (corpus.empty()) {
        std::fputs("usage: COUNT FOLDER\n", stderr);
        return 2;
    }
    for (const std::string &file : corpus)
        Run(file);
    Mutator mutator(corpus);
    for (long left = std::stol(argv[1]); left > 0; --left)
        Run(mutator.Next());
    return 0;
}
