// The fixture of the tests against the box's SIP process: each test starts
// with the SIP process in its factory state and a listening library session
// of the UI (bus id 1234), which the test closes when it ends.
#pragma once

#include <gtest/gtest.h>

#include <functional>

#include "phonecore/bus_client.h"
#include "support/bus_session.h"
#include "support/sip_peer.h"

namespace phonecore::testing {

// A reply has to come within the request's limit (100 ms for most); on a
// loaded machine one now and then comes later, and the call answers as
// without a reply. A test of a request that changes nothing asks again
// then, a few times.
inline int until_answered(const std::function<int()>& call, int no_reply) {
  int result = no_reply;
  for (int attempt = 0; attempt < 5 && result == no_reply; ++attempt) result = call();
  return result;
}

class SipSessionTest : public ::testing::Test {
 protected:
  static constexpr uint16_t kUiBusId = 1234;

  void SetUp() override {
    sip_.reset();
    client_ = open_listening_session(kUiBusId, nullptr, "ui");
    ASSERT_NE(client_, nullptr);
  }
  void TearDown() override {
    if (client_ != nullptr) request_pc_disconnect(client_);
    client_ = nullptr;
    sip_.reset();
  }

  SipPeer sip_;
  MessageClient* client_ = nullptr;
};

}  // namespace phonecore::testing
