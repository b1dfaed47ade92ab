// The decoding of a header from any 132 bytes, beside the fields at their places, and its way back
// to the wire. What a MsgToSend sends of it reads the same again.
#include <cstring>

#include "fuzz.h"
#include "norba/i_msg.h"

namespace {

constexpr std::size_t kTextAt = 28;

void checkFields(const MsgHeader& header, const std::string& wire) {
    require(header.type() == shortAt(wire, 4));
    require(header.op() == shortAt(wire, 6));
    require(header.lg() == longAt(wire, 8));
    require(header.kelId() == shortAt(wire, 18));
    require(header.pair().first == shortAt(wire, 20));
    require(header.pair().second == shortAt(wire, 22));
    require(header.version() == shortAt(wire, 26));
    require(header.wireSize() == (shortAt(wire, 26) > 27 ? 132 : 48));
    requireSame(header.text(), terminated(wire.substr(kTextAt, MsgHeader::kTextSize - 1)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string wire = Input(data, size).take(MsgHeader::kSize);
    MsgHeader header;
    std::memcpy(header.wire(), wire.data(), wire.size());
    require(header.ReadHeader() == (wire.substr(0, 4) == "\x88\x44\x22\x11"));
    checkFields(header, wire);
    std::string text = terminated(wire.substr(kTextAt, MsgHeader::kTextSize - 1));
    const std::string expected = "\x88\x44\x22\x11" + wire.substr(4, kTextAt - 4) + text + '\0';
    char image[MsgHeader::kSize];
    char* cursor = image;
    header.WriteHeader(&cursor);
    requireSame({image, static_cast<std::size_t>(cursor - image)}, expected);
    header.setLg(0);
    MsgToSend frame(0);
    frame.setHeader(header);
    frame.Serialise();
    MsgHeader again;
    std::memcpy(again.wire(), frame.buffer(), MsgHeader::kSize);
    require(again.ReadHeader() == 1);
    require(again.lg() == 0 && again.type() == header.type() && again.kelId() == header.kelId());
    requireSame(again.text(), text);
    return 0;
}
