// What the hardware of both nodes holds for each tunnel RIF, from text to findings.

#include "tests/fuzz/support/bytes.h"
#include "tests/fuzz/support/multicast.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zorbec::fuzz::MulticastTexts texts;
  texts.handles = zorbec::fuzz::as_text(data, size);
  zorbec::fuzz::check_multicast(texts);
  return 0;
}
