// Texts of the SIP status codes for the screen, in English (language 0)
// and Chinese (language 1). The table is searched from the top for the
// first row with both values equal. Its last row, the Chinese text of 700,
// carries language 0 and so can never be found: the English row of 700
// comes first. voip_status_desc(1, 700) answers NULL, and stays so.
#include <iterator>

#include "phonecore/voip.h"

namespace {

struct StatusText {
  int language;
  int code;
  const char* text;
};

constexpr StatusText kStatusTexts[] = {
    {0, 400, "Bad Request!"},
    {0, 401, "Unauthorized!"},
    {0, 402, "Payment Required!"},
    {0, 403, "Forbidden!"},
    {0, 404, "Not Found!"},
    {0, 405, "Method Not Allowed!"},
    {0, 406, "Not Acceptable!"},
    {0, 407, "Proxy Authentication Required!"},
    {0, 408, "Request Timeout!"},
    {0, 410, "Gone!"},
    {0, 413, "Request Entity Too Large!"},
    {0, 414, "Request-URI Too Long!"},
    {0, 415, "Unsupported Media Type!"},
    {0, 416, "Unsupported URI Scheme!"},
    {0, 420, "Bad Extension!"},
    {0, 421, "Extension Required!"},
    {0, 423, "Interval Too Brief!"},
    {0, 480, "Temporarily Unavailable!"},
    {0, 481, "Call/Transaction Does Not Exist!"},
    {0, 482, "Loop Detected!"},
    {0, 483, "Too Many Hops!"},
    {0, 484, "Address Incomplete!"},
    {0, 485, "Ambiguous!"},
    {0, 486, "Busy Here!"},
    {0, 487, "Request Terminated!"},
    {0, 488, "Not Acceptable Here!"},
    {0, 491, "Request Pending!"},
    {0, 493, "Undecipherable!"},
    {0, 500, "Server Internal Error!"},
    {0, 501, "Not Implemented!"},
    {0, 502, "Bad Gateway!"},
    {0, 503, "Service Unavailable!"},
    {0, 504, "Server Time-out!"},
    {0, 505, "Version Not Supported!"},
    {0, 513, "Message Too Large!"},
    {0, 600, "Busy Everywhere!"},
    {0, 603, "Decline!"},
    {0, 604, "Does Not Exist Anywhere!"},
    {0, 606, "Not Acceptable!"},
    {0, 700, "Forbidden Number!"},
    {1, 400, "错误请求!"},
    {1, 401, "未授权!"},
    {1, 402, "需要付费!"},
    {1, 403, "禁止!"},
    {1, 404, "未发现!"},
    {1, 405, "方法不允许!"},
    {1, 406, "不可接受!"},
    {1, 407, "代理需要认证!"},
    {1, 408, "请求超时!"},
    {1, 410, "离开!"},
    {1, 413, "请求实体太大!"},
    {1, 414, "请求URL太长!"},
    {1, 415, "不支持的媒体类型!"},
    {1, 416, "不支持的URL规范!"},
    {1, 420, "不良扩展!"},
    {1, 421, "需要扩展!"},
    {1, 423, "间隔太短!"},
    {1, 480, "临时不可用!"},
    {1, 481, "呼叫不存在!"},
    {1, 482, "发现环路!"},
    {1, 483, "跳数太多!"},
    {1, 484, "地址不完整!"},
    {1, 485, "不明确!"},
    {1, 486, "正在忙!"},
    {1, 487, "请求终止!"},
    {1, 488, "请求不可接受!"},
    {1, 491, "未决请求!"},
    {1, 493, "不可辨识"},
    {1, 500, "服务器内部错误"},
    {1, 501, "无法实现"},
    {1, 502, "坏网关"},
    {1, 503, "服务不可用"},
    {1, 504, "服务器超时"},
    {1, 505, "版本不支持"},
    {1, 513, "消息太大"},
    {1, 600, "全忙"},
    {1, 603, "谢绝"},
    {1, 604, "不存在"},
    {1, 606, "不可接受"},
    {0, 700, "禁止号码"},
};
static_assert(std::size(kStatusTexts) == 80);

}  // namespace

extern "C" const char* voip_status_desc(int language, int code) noexcept {
  for (const StatusText& row : kStatusTexts)
    if (row.language == language && row.code == code) return row.text;
  return nullptr;
}
