#include "text/paths.h"

#ifdef _WIN32
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>
#endif

namespace torvik {

#ifdef _WIN32

std::filesystem::path pathof(const std::string& name)
{
    const int bytes = static_cast<int>(name.size());
    const int length = MultiByteToWideChar(CP_ACP, 0, name.data(), bytes, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(length), L' ');
    MultiByteToWideChar(CP_ACP, 0, name.data(), bytes, wide.data(), length);
    return wide;
}

std::FILE* opentochange(const std::filesystem::path& path)
{
    return _wfopen(path.c_str(), L"r+b");
}

std::FILE* createfile(const std::filesystem::path& path)
{
    // Not every C library of Windows knows the letter x of fopen.
    const int created = _O_CREAT | _O_EXCL | _O_WRONLY | _O_BINARY;
    const int descriptor = _wopen(path.c_str(), created, _S_IREAD | _S_IWRITE);
    return descriptor < 0 ? nullptr : _fdopen(descriptor, "wb");
}

#else

std::filesystem::path pathof(const std::string& name)
{
    return name;
}

std::FILE* opentochange(const std::filesystem::path& path)
{
    return std::fopen(path.c_str(), "r+b");
}

std::FILE* createfile(const std::filesystem::path& path)
{
    return std::fopen(path.c_str(), "wbx");
}

#endif

} // namespace torvik
