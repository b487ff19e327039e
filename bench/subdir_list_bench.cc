// Lists the sub-directories of DIR through the library, as a file program
// does, and prints their paths one a line, as find prints them: the
// process that bench/subdir_list.sh times against find.  With USER, the
// process first takes that user's credentials (PrivilegeUtil, the
// platform's users under VORN_ROOT), as a program started as root does.
//
//   subdir_list_bench DIR [USER]

#include <stdio.h>

#include <string>
#include <vector>

#include <arx/webman_file_share.h>

int main(int argc, char** argv)
{
    if (argc < 2) {
        fprintf(stderr, "usage: subdir_list_bench DIR [USER]\n");
        return 2;
    }
    if (argc > 2 && !VORNPrivilege::PrivilegeUtil::SetEUGID(argv[2], true)) {
        fprintf(stderr, "subdir_list_bench: cannot become %s\n", argv[2]);
        return 1;
    }
    WebmanFileShare fs;
    std::vector<_tag_SUBDIR_ENTRY_INFO_> list;
    if (!fs.WfmLibEnumSubDir(argv[1], list)) {
        fprintf(stderr, "subdir_list_bench: cannot list %s (%d)\n", argv[1], static_cast<int>(WfmLibGetErr()));
        return 1;
    }
    std::string out;
    for (const _tag_SUBDIR_ENTRY_INFO_& entry : list) {
        out += entry.fullPath;
        out += '\n';
    }
    fwrite(out.data(), 1, out.size(), stdout);
    return 0;
}
