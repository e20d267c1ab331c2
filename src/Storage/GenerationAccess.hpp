#pragma once

namespace KestrelCore {

class GenerationReader;
class OpenGeneration;

/// What the library's own wings see of an open generation beyond its public face. Any thread.
struct GenerationAccess {
    /// Valid as long as the reader.
    [[nodiscard]] static const OpenGeneration& open(const GenerationReader& reader);
};

}  // namespace KestrelCore
