// The wire records keep their layout on every processor the phone runs
// on (the static_asserts beside them), and their decoders refuse short and
// foreign bytes.

#include <gtest/gtest.h>

#include <vector>

#include "bus/bus_wire.h"
#include "config/gnl_frame.h"

using namespace phonecore;

namespace {

TEST(BusWire, PacketHeaderRoundTripsInNativeOrder) {
  bus::BusPacketHeader h{bus::kPacketMagic, 16384, 0, 9, bus::kBusIdSip, 1234, 42};
  std::vector<uint8_t> out(bus::kPacketHeaderSize);
  EXPECT_EQ(bus::encode_record(h, out), 16u);
  // Little-endian on the board and on the PC alike.
  EXPECT_EQ(out[0], 0xFF);
  EXPECT_EQ(out[1], 0x02);
  EXPECT_EQ(out[8], 0x02);
  EXPECT_EQ(out[9], 0x10);
  EXPECT_EQ(out[12], 42);
  auto back = bus::decode_packet_header(out);
  ASSERT_TRUE(back);
  EXPECT_EQ(back->seq, 16384);
  EXPECT_EQ(back->dest, 4098);
  EXPECT_EQ(back->source, 1234);
  EXPECT_EQ(back->length, 42u);
}

TEST(BusWire, DecodersRefuseShortBytesThenWrongMagic) {
  std::vector<uint8_t> out(bus::kControlRequestSize);
  bus::encode_record(bus::BusControlRequest{bus::kControlMagic, 0, 77, bus::kControlConnect, 97}, out);
  EXPECT_TRUE(bus::decode_control_request(out));
  EXPECT_FALSE(bus::decode_control_request({out.data(), 15}));
  EXPECT_FALSE(bus::decode_packet_header(out));  // magic 255 is not a packet
  out[0] = 0xFE;
  EXPECT_FALSE(bus::decode_control_request(out));
  EXPECT_FALSE(bus::decode_control_reply(std::vector<uint8_t>{0xFF, 0x01, 0, 0, 0x10, 0x9C}));
}

TEST(BusWire, ControlRecordsHaveTheSizesOfTheExchange) {
  std::vector<uint8_t> out(bus::kControlRequestSize);
  bus::encode_record(bus::BusControlRequest{bus::kControlMagic, 0, 77, bus::kControlDisconnect, 0x0102030405060708ull},
                     out);
  EXPECT_EQ(out[6], 2);
  EXPECT_EQ(out[8], 0x08);
  EXPECT_EQ(out[15], 0x01);
  std::vector<uint8_t> reply{0xFF, 0x01, 0x00, 0x00, 0x40, 0x9C, 0x41, 0x9C};
  auto r = bus::decode_control_reply(reply);
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 0);
  EXPECT_EQ(r->server_port, 40000);
  EXPECT_EQ(r->local_port, 40001);
}

TEST(GnlFrame, DatagramCarriesOneBytePastItsData) {
  EXPECT_EQ(config::gnl_datagram_size(0), 77u);
  EXPECT_EQ(config::gnl_datagram_size(100), 177u);
  EXPECT_EQ(config::kGnlBufferSize, 32844u);
}

TEST(GnlFrame, HeadDecoderChecksLengthThenMagic) {
  std::vector<uint8_t> rec(config::kGnlHeaderSize + 1, 0);
  rec[0] = 0xFF, rec[1] = 0x05;    // 1535
  rec[2] = 0x06, rec[3] = 0x10;    // 4102
  rec[4] = 0x01;                   // read
  rec[74] = 0x10, rec[75] = 0x00;  // 16 data bytes
  auto head = config::decode_gnl_head(rec);
  ASSERT_TRUE(head);
  EXPECT_EQ(head->category, 4102);
  EXPECT_EQ(head->operation, 1);
  EXPECT_EQ(head->data_length, 16);
  EXPECT_FALSE(config::decode_gnl_head({rec.data(), 75}));
  rec[1] = 0x06;
  EXPECT_FALSE(config::decode_gnl_head(rec));
}

}  // namespace
