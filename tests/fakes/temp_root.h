#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>

namespace fakes
{

/// A fresh folder that is the system root while this lives, and is removed afterwards. Homes that tests make lie below
/// it too. One at a time: the root is a property of the process.
class TempRoot
{
public:
    TempRoot()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "roamer-test-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder: " + pattern);
        mPath = pattern;
        if (const char* before = std::getenv("ROAMER_ROOT")) mBefore = before;
        setenv("ROAMER_ROOT", pattern.c_str(), 1);
    }
    ~TempRoot()
    {
        if (mBefore) {
            setenv("ROAMER_ROOT", mBefore->c_str(), 1);
        } else {
            unsetenv("ROAMER_ROOT");
        }
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }
    TempRoot(const TempRoot&) = delete;
    TempRoot& operator=(const TempRoot&) = delete;

    const std::filesystem::path& path() const { return mPath; }

    /// Where a product path such as "/Library/Logs" really lies. Also a good place for homes: real("/home/jo").
    std::filesystem::path real(const std::string& productPath) const
    {
        return mPath / std::filesystem::path(productPath).relative_path();
    }

    /// Makes the folder of a real path and the file with this content.
    static void writeFile(const std::filesystem::path& path, const std::string& content)
    {
        std::filesystem::create_directories(path.parent_path());
        std::ofstream file(path, std::ios::binary);
        file << content;
        if (!file.flush()) throw std::runtime_error("cannot write " + path.string());
    }
    /// "" when there is no such file.
    static std::string readFile(const std::filesystem::path& path)
    {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

private:
    std::filesystem::path mPath;
    std::optional<std::string> mBefore;
};

} // namespace fakes
