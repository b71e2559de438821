#include "apps/limes/bench/bench_service.h"

#include "apps/limes/errors.h"

#ifdef LIMES_HAVE_HTTP

#include <unistd.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>
#include <utility>

#include "apps/limes/bench/announcer.h"
#include "apps/limes/bench/http_server.h"
#include "apps/limes/bench/page_files.h"
#include "apps/limes/bench/result_text.h"
#include "apps/limes/report/json_line.h"
#include "apps/limes/report/page_files.h"
#include "apps/limes/report/report.h"
#include "apps/limes/store/database.h"
#include "apps/limes/store/stored_model.h"
#include "recordings/part_source.h"
#include "recordings/text.h"
#include "recordings/variant.h"

namespace limes::host {
namespace {

using Json = nlohmann::ordered_json;
using httplib::Request;
using httplib::Response;

constexpr const char* kJson = "application/json";

void Answer(Response& answer, int status, const Json& json) {
  answer.status = status;
  answer.set_content(Dumped(json) + "\n", kJson);
}

void Refuse(Response& answer, int status, const std::string& reason) {
  Answer(answer, status, {{"error", reason}});
}

std::string Joined(std::initializer_list<std::string_view> texts) {
  std::string whole;
  for (const std::string_view text : texts) {
    whole += text;
  }
  return whole;
}

std::string FirstLine(const std::string& path) {
  std::ifstream file(path);
  std::string line;
  constexpr std::size_t kLeast = 16;
  if (!std::getline(file, line) || line.size() < kLeast) {
    throw CUsageError(path + ": its first line must be a token of at least 16 characters");
  }
  return line;
}

class CService : public CBenchService {
 public:
  CService(const SServeSettings& settings, CBench& bench, CBenchState& state,
           const std::string& store, std::function<std::string(const SHeldAction&)> act)
      : settings_(settings),
        bench_(bench),
        state_(state),
        store_(store),
        act_(std::move(act)),
        server_(settings.mostConnections),
        announcer_(state) {
    const bool local = settings.address == "127.0.0.1" || settings.address == "::1" ||
                       settings.address == "localhost";
    if (!settings.tokenFile.empty()) {
      token_ = FirstLine(settings.tokenFile);
    } else if (!local) {
      throw CUsageError("--listen beyond this computer needs --token FILE");
    }
    TakeRequests();
    port_ = settings.port == 0 ? server_.bind_to_any_port(settings.address)
            : server_.bind_to_port(settings.address, settings.port) ? settings.port
                                                                    : -1;
    if (port_ < 0) {
      throw CHostError(ExitCode::kStore, settings.address + ":" + std::to_string(settings.port) +
                                             ": cannot be listened at (--port picks another)");
    }
    thread_ = std::thread([this] { server_.listen_after_bind(); });
  }

  ~CService() override {
    while (!server_.is_running() && !listened_) {  // what has not begun cannot be stopped
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
      listened_ = server_.is_running();
    }
    announcer_.End();
    server_.End();
    thread_.join();
  }

  std::string Url() const override {
    return Joined({"http://", HostText(settings_.address), ":", std::to_string(port_), "/"});
  }

 private:
  void TakeRequests() {
    server_.set_default_headers(
        {{"Content-Security-Policy",
          "default-src 'none'; script-src 'self'; style-src 'self' 'unsafe-inline'; "
          "connect-src 'self'; img-src data:; frame-ancestors 'none'; base-uri 'none'; "
          "form-action 'none'"},
         {"X-Content-Type-Options", "nosniff"},
         {"Referrer-Policy", "no-referrer"},
         {"Cross-Origin-Resource-Policy", "same-origin"},
         {"Cache-Control", "no-store"}});
    server_.set_pre_routing_handler([this](const Request& request, Response& answer) {
      return MayPass(request, answer) ? httplib::Server::HandlerResponse::Unhandled
                                      : httplib::Server::HandlerResponse::Handled;
    });
    server_.set_exception_handler([](const Request&, Response& answer, std::exception_ptr thrown) {
      try {
        std::rethrow_exception(std::move(thrown));
      } catch (const std::exception& e) {
        Refuse(answer, 500, e.what());
      }
    });
    TakePages();
    TakeQuestions();
    server_.Post("/parts", [this](const Request& request, Response& answer,
                                  const httplib::ContentReader& reader) {
      TakeRecording(request, answer, reader);
    });
    for (const bool accepts : {true, false}) {
      server_.Post(accepts ? "/held/accept" : "/held/forget",
                   [this, accepts](const Request& request, Response& answer,
                                   const httplib::ContentReader& reader) {
                     TakeWish(accepts, request, answer, reader);
                   });
    }
  }

  void TakePages() {
    const auto file = [this](const char* path, std::string_view content, const char* type) {
      server_.Get(path, [content, type](const Request&, Response& answer) {
        answer.set_content(content.data(), content.size(), type);
      });
    };
    server_.Get("/", [this](const Request& request, Response& answer) {
      if (!token_.empty() && request.has_param("token")) {  // asked for once
        answer.set_header("Set-Cookie",
                          "limes_token=" + token_ + "; HttpOnly; SameSite=Strict; Path=/");
        answer.set_redirect("/");
        return;
      }
      answer.set_content(kBenchPage.data(), kBenchPage.size(), "text/html; charset=utf-8");
    });
    file("/bench.css", kBenchStyle, "text/css");
    file("/bench.js", kBenchScript, "text/javascript");
    file("/report.js", kReportScript, "text/javascript");
    file("/chart.css", kChartStyle, "text/css");
    file("/chart.js", kChartScript, "text/javascript");
    file("/openapi.json", kBenchInterface, kJson);
  }

  void TakeQuestions() {
    server_.Get("/state", [this](const Request&, Response& answer) {
      answer.set_content(state_.Text(), kJson);
    });
    server_.Get("/metrics", [this](const Request&, Response& answer) {
      answer.set_content(state_.Metrics() +
                             "# HELP limes_connections Open connections.\n"
                             "# TYPE limes_connections gauge\nlimes_connections " +
                             std::to_string(server_.Connections()) + "\n",
                         "text/plain; version=0.0.4");
    });
    server_.Get("/limits", [this](const Request&, Response& answer) { TellLimits(answer); });
    server_.Get("/parts", [this](const Request& request, Response& answer) {
      constexpr std::int64_t kMost = 1000;
      const std::int64_t last =
          std::clamp<std::int64_t>(NumberOr(request.get_param_value("last"), 50), 1, kMost);
      TellParts(
          NumberOr(request.get_param_value("before"), std::numeric_limits<std::int64_t>::max()),
          last, answer);
    });
    server_.Get(R"(/parts/(\d{1,18}))", [this](const Request& request, Response& answer) {
      TellPart(std::stoll(request.matches[1]), answer);
    });
    server_.Get("/events", [this](const Request&, Response& answer) { TellEvents(answer); });
  }

  SServed Served() const {
    std::array<char, 256> name{};
    gethostname(name.data(), name.size() - 1);
    return {settings_.address,       name.data(),           port_, token_,
            settings_.allowsActions, CHttpServer::kMostBody};
  }

  /// Foreign pages, and names that lead here from elsewhere, are refused.
  bool MayPass(const Request& request, Response& answer) {
    if (request.has_header("Content-Length") || request.has_header("Transfer-Encoding")) {
      server_.ExpectBody();
    }
    const auto header = [&](const char* name) { return request.get_header_value(name); };
    const SRequestHead head{request.method,
                            request.path,
                            header("Host"),
                            header("Origin"),
                            header("Sec-Fetch-Site"),
                            header("Content-Length"),
                            header("Cookie"),
                            header("Authorization"),
                            request.get_param_value("token")};
    if (const auto refusal = RefusalOf(head, Served())) {
      if (refusal->status == 401) {
        answer.set_header("WWW-Authenticate", "Bearer");
      }
      Refuse(answer, refusal->status, refusal->reason);
      return false;
    }
    if (request.method == "GET") {
      server_.BeginAnswer();
    }
    return true;
  }

  void TellLimits(Response& answer) {
    CStore store(store_, CStore::Mode::kReading);
    store.BeginReading();
    std::ostringstream lines;
    PrintLimitsJson(lines, store);
    std::string list = lines.str();
    if (!list.empty()) {
      list.pop_back();
    }
    std::replace(list.begin(), list.end(), '\n', ',');
    answer.set_content(Joined({"[", list, "]\n"}), kJson);
  }

  static std::string WithNumber(const SPartVerdict& verdict) {
    const std::string line = VerdictLine(verdict);
    return Joined({"{\"id\":", std::to_string(verdict.id),
                   ",\"at\":", verdict.at ? std::to_string(*verdict.at) : "null", ",",
                   std::string_view(line).substr(1)});
  }

  /// The latest ones first.
  void TellParts(std::int64_t before, std::int64_t most, Response& answer) {
    CDatabase database(store_, CDatabase::Mode::kReading);
    const std::string judged = "SELECT id FROM part WHERE verdict <> 'learnt' AND id < " +
                               std::to_string(before) + " ORDER BY id DESC LIMIT " +
                               std::to_string(most);
    const std::int64_t first = database.QueryInt("SELECT min(id) FROM (" + judged + ")");
    const std::int64_t last = database.QueryInt("SELECT max(id) FROM (" + judged + ")");
    CStore store(store_, CStore::Mode::kReading);
    std::vector<std::string> texts;
    store.ForEachJudged(first, last,
                        [&](const SPartVerdict& verdict) { texts.push_back(WithNumber(verdict)); });
    std::string list;
    for (auto text = texts.rbegin(); text != texts.rend(); ++text) {
      list.append(list.empty() ? "" : ",").append(*text);
    }
    answer.set_content(Joined({"[", list, "]\n"}), kJson);
  }

  void TellPart(std::int64_t id, Response& answer) {
    CStore store(store_, CStore::Mode::kReading);
    Refuse(answer, 404, "there is no judged part of this number");
    store.ForEachJudged(id, id, [&](const SPartVerdict& verdict) {
      answer.status = 200;
      answer.set_content(WithNumber(verdict) + "\n", kJson);
    });
  }

  /// Server-sent events: the whole state whenever it has changed, a sign of life every second.
  void TellEvents(Response& answer) {
    constexpr std::size_t kMostPages = 200;
    if (announcer_.Listeners() >= kMostPages) {
      Refuse(answer, 503, "too many pages are open");
      return;
    }
    auto listener = std::make_shared<CAnnouncer::CListener>(announcer_);
    answer.set_content_provider(
        "text/event-stream", [this, listener](std::size_t, httplib::DataSink& sink) {
          const auto text = listener->Next(std::chrono::seconds(1));
          const std::string sent = text ? "event: state\ndata: " + *text + "\n\n"
                                        : std::string("event: alive\ndata: {}\n\n");
          return !server_.HasEnded() && sink.is_writable() && sink.write(sent.data(), sent.size());
        });
  }

  /// A recording is judged; its parts are answered when they are stored.
  void TakeRecording(const Request& request, Response& answer,
                     const httplib::ContentReader& reader) {
    std::string body;
    if (request.is_multipart_form_data()) {
      Refuse(answer, 415, "send the recording itself as the body, its name as ?name=");
      return;
    }
    if (!server_.ReadBody(reader, answer, body)) {
      Refuse(answer, answer.status, "the recording is too large, or did not come whole");
      return;
    }
    const std::string name = request.get_param_value("name");
    if (name.empty()) {
      Refuse(answer, 400, "the name of the recording is missing: /parts?name=NAME");
      return;
    }
    try {
      std::vector<SPart> parts;
      std::vector<SCondition> variant = ValuesOf(request.get_param_value("variant"));
      if (!variant.empty() && bench_.Settings()->variant.empty()) {
        throw CInputError(name, "the store was learnt without variants");
      }
      variant.insert(variant.end(), settings_.variant.begin(), settings_.variant.end());
      CPartSource source({},
                         {*bench_.Settings(), {}, {}, false, true, nullptr, 1, std::move(variant)});
      source.OpenBytes(name, {reinterpret_cast<const std::uint8_t*>(body.data()), body.size()});
      for (SPart part; source.Next(part);) {
        if (request.has_param("label")) {
          part.label = request.get_param_value("label");
        }
        parts.push_back(std::move(part));
      }
      if (parts.empty()) {
        throw CInputError(name, source.WhyNone());
      }
      auto waiting = bench_.Judge(std::move(parts));
      if (!waiting) {
        Refuse(answer, 503, "too many parts wait to be judged");
        return;
      }
      AnswerVerdicts(waiting->get(), answer);
    } catch (const CReadError& e) {
      state_.AddUnusable(name, e.what());
      Answer(answer, 422, {{"verdict", "not judged"}, {"reason", e.what()}});
    } catch (const CHostError& e) {
      Answer(answer, 503, {{"verdict", "not judged"}, {"reason", e.what()}});
    }
  }

  static void AnswerVerdicts(const CBench::Verdicts& verdicts, Response& answer) {
    Verdict whole = Verdict::kPass;
    std::string parts;
    for (const SPartVerdict& verdict : verdicts) {
      parts.append(parts.empty() ? "" : ",").append(WithNumber(verdict));
      whole = verdict.verdict == Verdict::kFail || whole == Verdict::kFail ? Verdict::kFail
              : verdict.verdict == Verdict::kNotJudged                     ? Verdict::kNotJudged
                                                                           : whole;
    }
    answer.status = 200;
    answer.set_content(
        Joined({"{\"verdict\":\"", VerdictText(whole), "\",\"parts\":[", parts, "]}\n"}), kJson);
  }

  void TakeWish(bool accepts, const Request&, Response& answer,
                const httplib::ContentReader& reader) {
    std::string body;
    if (!server_.ReadBody(reader, answer, body)) {
      return;
    }
    if (!settings_.allowsActions) {
      Refuse(answer, 403, "held parts are decided about elsewhere (--allow-actions)");
      return;
    }
    const auto wish = WishOf(accepts, body);
    if (!wish) {
      Refuse(answer, 400, R"(the part is missing: {"part": NAME, "because": REASON})");
      return;
    }
    try {
      Answer(answer, 200, {{"done", bench_.Act([this, wish] { return act_(*wish); }).get()}});
    } catch (const CHostError& e) {
      Refuse(answer, 409, e.what());
    }
  }

  SServeSettings settings_;
  CBench& bench_;
  CBenchState& state_;
  std::string store_;
  std::function<std::string(const SHeldAction&)> act_;
  std::string token_;
  CHttpServer server_;
  CAnnouncer announcer_;
  int port_ = 0;
  bool listened_ = false;
  std::thread thread_;
};

}  // namespace

std::unique_ptr<CBenchService> MakeBenchService(
    const SServeSettings& settings, CBench& bench, CBenchState& state, const std::string& store,
    std::function<std::string(const SHeldAction&)> act) {
  return std::make_unique<CService>(settings, bench, state, store, std::move(act));
}

}  // namespace limes::host

#else

namespace limes::host {

std::unique_ptr<CBenchService> MakeBenchService(const SServeSettings&, CBench&, CBenchState&,
                                                const std::string&,
                                                std::function<std::string(const SHeldAction&)>) {
  throw CUsageError("this program was built without HTTP (cpp-httplib)");
}

}  // namespace limes::host

#endif
