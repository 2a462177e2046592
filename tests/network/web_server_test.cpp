// The phone's web server as it really runs in the box: every working file
// the library makes is accepted by lighttpd, and after a restart the server
// answers on the ports set (HTTPS with the box's certificate) and nowhere
// else. Each test leaves the server as the box booted it.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "network/net_box.h"
#include "phonecore/web_config.h"
#include "support/factory_files.h"
#include "support/files.h"

using phonecore::testing::command_output;
using phonecore::testing::FactoryFiles;
using phonecore::testing::slurp;

namespace {

constexpr const char* kWorking = "/appconfigs/lighttpd.conf";
constexpr const char* kLighttpd = "/usr/sbin/lighttpd";
constexpr const char* kPage = "<html><body>phone</body></html>\n";

int shell(const std::string& command) {
  const int status = std::system(command.c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// lighttpd's own check of a configuration file, modules loaded.
int config_check(const std::string& file) {
  return shell(std::string(kLighttpd) + " -tt -f " + file + " >/dev/null 2>&1");
}

// Whether a TCP connect to the address (IPv4 or IPv6) succeeds.
bool answers(const char* address, int port) {
  sockaddr_storage a{};
  socklen_t size = 0;
  auto* v4 = reinterpret_cast<sockaddr_in*>(&a);
  auto* v6 = reinterpret_cast<sockaddr_in6*>(&a);
  if (inet_pton(AF_INET, address, &v4->sin_addr) == 1) {
    v4->sin_family = AF_INET;
    v4->sin_port = htons(static_cast<uint16_t>(port));
    size = sizeof *v4;
  } else if (inet_pton(AF_INET6, address, &v6->sin6_addr) == 1) {
    v6->sin6_family = AF_INET6;
    v6->sin6_port = htons(static_cast<uint16_t>(port));
    size = sizeof *v6;
  } else {
    return false;
  }
  const int fd = socket(a.ss_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const bool ok = connect(fd, reinterpret_cast<sockaddr*>(&a), size) == 0;
  close(fd);
  return ok;
}

// Waits up to about ten seconds for the port to answer (want) or refuse.
bool becomes(int port, bool want, const char* address = "127.0.0.1") {
  for (int i = 0; i < 1000; ++i) {
    if (answers(address, port) == want) return true;
    usleep(10000);
  }
  return false;
}

// The page and status code a GET gets; "000" and no page when nothing answers.
std::string fetch(const std::string& url) {
  return command_output("curl -s -g --max-time 10 --cacert /system/etc/cacert.pem -w ' %{http_code}' " + url);
}
const std::string kServed = std::string(kPage) + " 200";

// Kills every lighttpd of the phone, then waits until none of the ports the
// tests use answers: a killed server lets go of its sockets only as it exits.
bool stop_servers() {
  shell("killall -q -9 lighttpd");
  struct Listener {
    const char* address;
    int port;
  };
  constexpr Listener kListeners[] = {{"127.0.0.1", 80}, {"::1", 80},         {"127.0.0.1", 443},
                                     {"127.0.0.1", 8180}, {"127.0.0.1", 8543}, {"127.0.0.1", 9443}};
  for (const Listener& l : kListeners)
    if (!becomes(l.port, false, l.address)) return false;
  return true;
}

class WebServer : public ::testing::Test {
 protected:
  void TearDown() override {
    // The server as booted: stopped, and started again from its template.
    ASSERT_TRUE(stop_servers());
    ASSERT_EQ(shell(std::string(kLighttpd) + " -f /customer/etc/lighttpd/lighttpd.conf"), 0);
  }
  FactoryFiles files{"network.cfg", "default/internet.cfg", "lighttpd.conf"};
};

TEST_F(WebServer, BootedServerAnswersOnTheTemplatePorts) {
  ASSERT_TRUE(becomes(80, true));
  EXPECT_EQ(fetch("http://127.0.0.1/"), kServed);
  EXPECT_EQ(fetch("http://[::1]/"), kServed);
  // HTTPS, verified against the box's CA.
  EXPECT_EQ(fetch("https://127.0.0.1/"), kServed);
}

TEST_F(WebServer, MovedPortsAnswerAndTheOldOnesNot) {
  ASSERT_EQ(setWebType(1, 1, 8180, 8543), 0);
  EXPECT_EQ(config_check(kWorking), 0) << slurp(kWorking);
  ASSERT_TRUE(becomes(8180, true));
  ASSERT_TRUE(becomes(8543, true));
  EXPECT_EQ(fetch("http://127.0.0.1:8180/"), kServed);
  EXPECT_EQ(fetch("https://127.0.0.1:8543/"), kServed);
  EXPECT_TRUE(becomes(80, false));
  EXPECT_TRUE(becomes(443, false));
  EXPECT_EQ(fetch("http://127.0.0.1:80/"), " 000");
  // The main listener on the loopback keeps the default port.
  EXPECT_EQ(fetch("http://[::1]/"), kServed);
}

// Each template the state selects is a file lighttpd takes, and the
// restarted server listens on what it names.
TEST_F(WebServer, EveryTemplateRuns) {
  struct Row {
    int http_switch, https_switch;
    bool http, https;
  };
  const Row rows[] = {{0, 0, false, false}, {1, 0, true, false}, {0, 1, false, true}, {1, 1, true, true}};
  for (const Row& r : rows) {
    SCOPED_TRACE(std::to_string(r.http_switch) + std::to_string(r.https_switch));
    ASSERT_TRUE(files.restore());
    // From the factory state, a new https port makes every row a change.
    ASSERT_EQ(setWebType(r.http_switch, r.https_switch, 80, 9443), 0);
    EXPECT_EQ(config_check(kWorking), 0) << slurp(kWorking);
    // Every template keeps the main listener on the loopback: the
    // restarted server is up once it answers.
    ASSERT_TRUE(becomes(80, true, "::1"));
    EXPECT_TRUE(becomes(80, r.http));
    EXPECT_TRUE(becomes(9443, r.https));
    if (r.https) {
      EXPECT_EQ(fetch("https://127.0.0.1:9443/"), kServed);
    }
    EXPECT_TRUE(becomes(443, false));
  }
}

// change_httpd_port's file: the template with one top-level server.port
// (the templates have none; a second would be a duplicate lighttpd
// refuses). Not restarted by the call; started on it, the main listener
// moves.
TEST_F(WebServer, AppendedServerPortIsTaken) {
  ASSERT_EQ(change_httpd_port(8180, 8543), 0);
  EXPECT_EQ(config_check(kWorking), 0) << slurp(kWorking);
  EXPECT_EQ(fetch("http://[::1]:8180/"), " 000");
  ASSERT_TRUE(stop_servers());
  ASSERT_EQ(shell(std::string(kLighttpd) + " -f " + kWorking), 0);
  EXPECT_EQ(fetch("http://[::1]:8180/"), kServed);
  EXPECT_EQ(fetch("http://127.0.0.1:80/"), kServed);
  // Twice appended, the file is refused: the reason the templates carry none.
  shell(std::string("echo 'server.port = 8181' >>") + kWorking);
  EXPECT_NE(config_check(kWorking), 0);
  EXPECT_NE(command_output(std::string(kLighttpd) + " -tt -f " + kWorking + " 2>&1").find("Duplicate config variable"),
            std::string::npos);
}

// The restart kills every lighttpd, but not the box's own far-side server.
TEST_F(WebServer, RestartLeavesTheBoxServer) {
  ASSERT_TRUE(answers("127.0.0.1", 8080));
  ASSERT_EQ(setWebType(1, 1, 8180, 443), 0);
  ASSERT_TRUE(becomes(8180, true));
  EXPECT_TRUE(answers("127.0.0.1", 8080));
}

}  // namespace
