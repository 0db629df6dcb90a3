#pragma once
// The viewer's page, style sheet and scripts, built into the program so that
// an installed tool serves the page it was built with. The definitions are
// generated from tools/view/page/ at build time (cmake/EmbedFiles.cmake).
#include <cstddef>

namespace kelvora::tools {

struct PageAsset {
  const char* name;  // file name under tools/view/page, e.g. "viewer.js"
  const unsigned char* data;
  size_t size;
};

extern const PageAsset kPageAssets[];
extern const size_t kPageAssetCount;

}  // namespace kelvora::tools
