// mkcat: compiles a catalog source (.src) into the gencat input (.msg) whose
// catalog texts are laid out the way the message repository reads them.
//
//   mkcat [--base BASE.src] [--manifest FILE] SOURCE.src OUTPUT.msg
//   mkcat --signatures FILE SOURCE.src
//   mkcat --names HEADER SOURCE.src
//
// --base checks that SOURCE translates BASE completely: the same messages
// with the same severity letters and argument types. --manifest writes one
// line per message: number, letter, argument signature. --signatures writes
// the program's table of argument signatures from a source (the American
// English one) instead of a catalog. --names writes the header of message
// names (see catnames.h) instead of a catalog.
#include <stdio.h>
#include <string.h>

#include <fstream>
#include <string>

#include "tools/mkcat/catencode.h"
#include "tools/mkcat/catnames.h"
#include "tools/mkcat/catsource.h"

namespace {

int usage() {
    fprintf(stderr,
            "usage: mkcat [--base BASE.src] [--manifest FILE] SOURCE.src OUTPUT.msg\n"
            "       mkcat --signatures FILE SOURCE.src\n"
            "       mkcat --names HEADER SOURCE.src\n");
    return 2;
}

bool writeFile(const std::string& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
    out.close();
    return static_cast<bool>(out);
}

}  // namespace

int main(int argc, char** argv) {
    std::string base, manifest, signatures, names, source, output;
    for (int i = 1; i < argc; ++i) {
        if (strcmp(argv[i], "--base") == 0 && i + 1 < argc) {
            base = argv[++i];
        } else if (strcmp(argv[i], "--signatures") == 0 && i + 1 < argc) {
            signatures = argv[++i];
        } else if (strcmp(argv[i], "--names") == 0 && i + 1 < argc) {
            names = argv[++i];
        } else if (strcmp(argv[i], "--manifest") == 0 && i + 1 < argc) {
            manifest = argv[++i];
        } else if (argv[i][0] == '-') {  // NOLINT(bugprone-branch-clone): unknown option
            return usage();
        } else if (source.empty()) {
            source = argv[i];
        } else if (output.empty()) {
            output = argv[i];
        } else {
            return usage();
        }
    }
    int modes = !output.empty() + !signatures.empty() + !names.empty();
    if (source.empty() || modes != 1) return usage();

    CatSource src;
    std::string err;
    if (!catReadSource(source, &src, &err)) {
        fprintf(stderr, "mkcat: %s\n", err.c_str());
        return 1;
    }
    if (!signatures.empty()) {
        std::string rows;
        if (!catWriteSignatures(src, &rows, &err) || !writeFile(signatures, rows)) {
            fprintf(stderr, "mkcat: cannot write signatures %s %s\n", signatures.c_str(),
                    err.c_str());
            return 1;
        }
        return 0;
    }
    if (!names.empty()) {
        std::string header;
        // The header names its source as catalogs/<language>/<file>, not by
        // the build machine's path.
        std::string shown = source;
        size_t cut = shown.rfind('/');
        if (cut != std::string::npos && cut > 0) cut = shown.rfind('/', cut - 1);
        if (cut != std::string::npos && cut > 0) cut = shown.rfind('/', cut - 1);
        if (cut != std::string::npos) shown = shown.substr(cut + 1);
        if (!catWriteNameHeader(src, shown, "ZEBO_CATALOG_NAMES_" + src.prefix + "_H", &header,
                                &err) ||
            !writeFile(names, header)) {
            fprintf(stderr, "mkcat: cannot write names %s\n%s", names.c_str(), err.c_str());
            return 1;
        }
        return 0;
    }
    if (!base.empty()) {
        CatSource baseSrc;
        if (!catReadSource(base, &baseSrc, &err)) {
            fprintf(stderr, "mkcat: %s\n", err.c_str());
            return 1;
        }
        if (!catCheckTranslation(baseSrc, src, &err)) {
            fprintf(stderr, "mkcat: %s does not match %s:\n%s", source.c_str(), base.c_str(),
                    err.c_str());
            return 1;
        }
    }
    std::string msg;
    if (!catWriteMsgFile(src, &msg, &err)) {
        fprintf(stderr, "mkcat: %s: %s\n", source.c_str(), err.c_str());
        return 1;
    }
    if (!writeFile(output, msg)) {
        fprintf(stderr, "mkcat: cannot write %s\n", output.c_str());
        return 1;
    }
    if (!manifest.empty()) {
        std::string text;
        if (!catWriteManifest(src, &text, &err) || !writeFile(manifest, text)) {
            fprintf(stderr, "mkcat: cannot write manifest %s %s\n", manifest.c_str(), err.c_str());
            return 1;
        }
    }
    return 0;
}
