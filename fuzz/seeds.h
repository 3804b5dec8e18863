// The seeds that the library makes: images, and sections with images in them. tests/fuzz holds those in fuzz/corpus
// against them; fuzz_seeds writes them.
#pragma once

#include <map>
#include <string>

// The bytes of each seed, by its path below fuzz/corpus.
std::map<std::string, std::string> FuzzSeeds();
