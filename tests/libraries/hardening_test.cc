// The shared libraries run as root in every request and parse untrusted
// input: their code is mapped apart from the ELF headers and read-only data
// (nothing but code executable), and their relocated tables become
// read-only once the loader has bound every import (full RELRO).

#include <elf.h>
#include <string.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

struct Layout {
    bool read = false;
    bool headersExecutable = false;  // the segment at offset 0 (ELF headers) is executable
    bool writableCode = false;
    bool relro = false;
    bool bindNow = false;
};

template <typename T>
const T* At(const std::string& image, size_t offset)
{
    return offset + sizeof(T) <= image.size() ? reinterpret_cast<const T*>(image.data() + offset) : nullptr;
}

Layout Inspect(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    const std::string image((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    Layout layout;
    const Elf64_Ehdr* header = At<Elf64_Ehdr>(image, 0);
    if (header == nullptr || memcmp(header->e_ident, ELFMAG, SELFMAG) != 0 || header->e_ident[EI_CLASS] != ELFCLASS64)
        return layout;
    layout.read = true;
    for (int i = 0; i < header->e_phnum; ++i) {
        const Elf64_Phdr* segment = At<Elf64_Phdr>(image, header->e_phoff + i * sizeof(Elf64_Phdr));
        if (segment == nullptr)
            return Layout();
        if (segment->p_type == PT_GNU_RELRO)
            layout.relro = true;
        if (segment->p_type == PT_LOAD && (segment->p_flags & PF_X) != 0) {
            layout.headersExecutable = layout.headersExecutable || segment->p_offset == 0;
            layout.writableCode = layout.writableCode || (segment->p_flags & PF_W) != 0;
        }
        if (segment->p_type != PT_DYNAMIC)
            continue;
        for (size_t at = segment->p_offset; at + sizeof(Elf64_Dyn) <= segment->p_offset + segment->p_filesz;
             at += sizeof(Elf64_Dyn)) {
            const Elf64_Dyn* entry = At<Elf64_Dyn>(image, at);
            if (entry == nullptr || entry->d_tag == DT_NULL)
                break;
            if ((entry->d_tag == DT_FLAGS && (entry->d_un.d_val & DF_BIND_NOW) != 0) ||
                (entry->d_tag == DT_FLAGS_1 && (entry->d_un.d_val & DF_1_NOW) != 0))
                layout.bindNow = true;
        }
    }
    return layout;
}

TEST(LibraryHardeningTest, CodeApartAndFullRelro)
{
    for (const char* path : {ARX_LIBARX, ARX_LIBARX_PCRE, ARX_LIBVORNCGI, ARX_LIBVORN}) {
        const Layout layout = Inspect(path);
        ASSERT_TRUE(layout.read) << path;
        EXPECT_FALSE(layout.headersExecutable) << path << ": headers and read-only data mapped executable";
        EXPECT_FALSE(layout.writableCode) << path;
        EXPECT_TRUE(layout.relro) << path;
        EXPECT_TRUE(layout.bindNow) << path;
    }
}

}  // namespace
