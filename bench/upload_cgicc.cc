// The same upload read by a CGI program built on cgicc: the body on
// standard input, every file part into the directory UPLOAD_DIR.
#include <stdlib.h>

#include <fstream>
#include <string>

#include <cgicc/Cgicc.h>

int main()
{
    cgicc::Cgicc cgi;
    const std::string dir = getenv("UPLOAD_DIR");
    int stored = 0;
    for (const cgicc::FormFile& file : cgi.getFiles()) {
        std::ofstream out(dir + "/" + std::to_string(stored++), std::ios::binary);
        file.writeToStream(out);
        if (!out)
            return 1;
    }
    return stored > 0 ? 0 : 1;
}
