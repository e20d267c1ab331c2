#include "Platform/Vocabulary.hpp"

namespace KestrelCore {

const Vocabulary& systemVocabulary() { return macOSVocabulary(); }

}  // namespace KestrelCore
