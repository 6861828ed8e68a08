// Runs a fuzz target once over each file that is given or lies in a folder that is given. Stands for
// libFuzzer's own main() where there is none.
#include "Input.h"

#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

int runs = 0;

void run(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    std::fprintf(stderr, "%s\n", path.string().c_str());
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    ++runs;
}

} // namespace

int main(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i) {
        if (!std::filesystem::is_directory(argv[i])) {
            run(argv[i]);
            continue;
        }
        for (const auto& entry : std::filesystem::directory_iterator(argv[i]))
            run(entry.path());
    }
    return runs > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
