// The malformed-input corpus: hand-made inputs for the four fuzz targets that each break one
// rule of their format, with the outcome each must have. fuzz/corpus/ holds the files and
// their manifest as this program wrote them; the corpus test replays them in every build.
#pragma once

#include <string>

// Writes every case into folder/<target>/<name> and the manifest to folder/manifest.txt.
// Throws std::runtime_error on failure.
void WriteMalformedCorpus(const std::string& folder);
