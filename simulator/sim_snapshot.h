#pragma once
// A model as bytes and as text: the snapshot that goes into a checksummed file, and XML.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class CharString;
class SimModel;

/// The lines of a model: how many, then of each number, name and state, as the stream routines
/// write them. Any thread.
std::vector<char> simPack(const SimModel& model);

/// One line of text for each line in what `simPack` made, or nothing if the bytes don't hold that.
std::optional<std::vector<std::string>> simUnpack(std::vector<char> bytes);

/// The lines as one XML document. Numbers and names hold nothing that would need escaping.
CharString simXmlOf(const SimModel& model);
