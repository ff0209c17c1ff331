// Decoding of untrusted JSON text, with and without a definition, under the default and under
// small limits. Beyond "no crash, no leak, no hang", every text that decodes must encode, and
// what it encodes to must come back to the same text: the wire format is stable after one trip.

#include <opax/json/json.h>
#include <opax/json/testing/sample_definition.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

using Opax::Data::DataDefinition;
using Opax::Data::DataValuePtr;
using Messages = std::list<Opax::BaseMessage>;

void Require(bool condition, char const* what) {
  if (condition) return;
  std::fprintf(stderr, "json_decode_fuzz: %s\n", what);
  std::abort();
}

std::string EncodeDecoded(DataValuePtr const& value, DataDefinition const* definition) {
  std::string text;
  Messages messages;
  // The decoder accepts only valid UTF-8, so whatever it made can be written.
  Require(Opax::Json::Encode(*value, definition, text, messages), "a decoded value failed to encode");
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, std::size_t size) {
  static Opax::Json::Testing::SampleDefinition const sample = Opax::Json::Testing::MakeSampleDefinition();
  if (size == 0) return 0;
  // The first byte chooses the definition and the limits; the rest is the text.
  uint8_t const choice = data[0];
  std::string_view const text(reinterpret_cast<char const*>(data) + 1, size - 1);
  DataDefinition const* definition = nullptr;
  if (choice & 1) definition = sample.device.get();
  if (choice & 2) definition = sample.backing.get();
  Opax::Json::Limits limits;
  if (choice & 4) limits = Opax::Json::Limits{4, 16, 4, 256};

  DataValuePtr value;
  Messages messages;
  bool const decoded = definition != nullptr ? Opax::Json::Decode(text, *definition, value, messages, limits)
                                             : Opax::Json::Decode(text, value, messages, limits);
  if (!decoded) {
    Require(!value && messages.size() == 1, "a failed decoding handed on a value or not exactly one message");
    return 0;
  }
  Require(value != nullptr && messages.empty(), "a successful decoding without a value");
  std::string const once = EncodeDecoded(value, definition);
  DataValuePtr again;
  Require(definition != nullptr
              ? Opax::Json::Decode(once, *definition, again, messages, Opax::Json::Limits::Unlimited())
              : Opax::Json::Decode(once, again, messages, Opax::Json::Limits::Unlimited()),
          "the encoder wrote text that the decoder refuses");
  Require(EncodeDecoded(again, definition) == once, "text -> value -> text is not stable");
  return 0;
}
