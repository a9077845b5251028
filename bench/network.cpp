// link: kelm_network
// HTTP calls to their completion on the main loop, beside libcurl's easy interface with one handle
// that is used again; client and server share one processor, and only the client's time counts.

#include <benchmark/benchmark.h>
#include <curl/curl.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "bench/support/tiny_http_server.h"
#include "kelm/logging/vasp_logger.h"
#include "kelm/network/hooks/kelm_core_app_exposed_hooks.h"
#include "kelm/network/http_call.h"
#include "kelm/platform/dispatch.h"

namespace {

constexpr std::size_t kMebibyte = 1 << 20;

/// Before there is any thread: binds this process to a processor and forks the server.
const bench::TinyHttpServer& prepare() {
  bench::pinToOneProcessor();
  return bench::TinyHttpServer::instance();
}

const bench::TinyHttpServer& kServer = prepare();

const std::string& sale() {
  static const std::string kSale = [] {
    std::string json = R"({"till":"till-0042","number":"20240517-000123","amount":"129.90",)"
                       R"("currency":"EUR","card":"************4242","note":")";
    json.resize(178, 'x');
    return json + "\"}";
  }();
  return kSale;
}

class NoLog : public kelm::VaspLogDelegate {
  void logwithLevel_aspect_from_threadName_message(kelm::LogLevel, kelm::LogAspect, const char*,
                                                   std::string_view, std::string_view) override {}
};

/// A host that uses the everyday call; what is logged goes nowhere.
class Host {
 public:
  Host() {
    kelm::VaspLogger::setLogDelegate(std::make_shared<NoLog>());
    kelm::KelmCoreAppExposedHooks::getInstance().setSharedApplicationHandler(
        [] { return kelm::platform::current<kelm::platform::Application>(); });
    session_ = kelm::platform::current<kelm::platform::UrlSessions>()->make({});
    loop_ = &kelm::platform::current<kelm::platform::Dispatcher>()->mainLoop();
  }

  /// One call after the other, each begun by the completion of the one before, as long as
  /// `wantsMore`; `take` gets the size of each answer's body.
  void callWhile(const std::function<bool()>& wantsMore, const std::string& url,
                 kelm::ZuHTTPMethod method, const std::optional<kelm::Data>& body,
                 const std::function<void(std::size_t)>& take) {
    bool done = false;
    const std::function<void()> next = [&] {
      done = !wantsMore();
      if (done) return;
      const auto call = kelm::HttpCall::initWithURL_andMethod_usingSession(url, method, session_);
      call->setRequestParametersEncoding(kelm::ZuHTTPParamEncoding::Json);
      call->setRequestBody(body);
      call->performAsyncNetworkTaskWithCompletion(
          [&](const std::shared_ptr<kelm::ZuHTTPResponse>& response, const auto&) {
            take(response ? response->bodyResponse()->size() : 0);
            next();
          });
    };
    loop_->post(next);
    loop_->runUntil([&] { return done; }, std::chrono::hours(1));
  }

 private:
  std::shared_ptr<kelm::platform::UrlSession> session_;
  kelm::platform::MainLoop* loop_;
};

/// The textbook client.
class Curl {
 public:
  Curl() : handle_(curl_easy_init()) {
    headers_ = curl_slist_append(nullptr, "Content-Type: application/json; charset=utf-8");
    curl_easy_setopt(handle_, CURLOPT_HTTPHEADER, headers_);
    curl_easy_setopt(handle_, CURLOPT_WRITEFUNCTION, append);
  }
  ~Curl() {
    curl_easy_cleanup(handle_);
    curl_slist_free_all(headers_);
  }
  Curl(const Curl&) = delete;
  Curl& operator=(const Curl&) = delete;

  std::size_t call(const std::string& url, const std::string* body) {
    std::string answer;
    curl_easy_setopt(handle_, CURLOPT_URL, url.c_str());
    curl_easy_setopt(handle_, CURLOPT_WRITEDATA, &answer);
    if (body != nullptr) {
      curl_easy_setopt(handle_, CURLOPT_POSTFIELDSIZE, static_cast<long>(body->size()));
      curl_easy_setopt(handle_, CURLOPT_POSTFIELDS, body->c_str());
    }
    return curl_easy_perform(handle_) == CURLE_OK ? answer.size() : 0;
  }

 private:
  static std::size_t append(char* bytes, std::size_t size, std::size_t count, void* to) {
    static_cast<std::string*>(to)->append(bytes, size * count);
    return size * count;
  }

  CURL* handle_;
  curl_slist* headers_ = nullptr;
};

void requireSize(benchmark::State& state, std::size_t size, bool holds) {
  if (!holds) state.SkipWithError(("unexpected answer of " + std::to_string(size)).c_str());
}

void postByKelm(benchmark::State& state) {
  static auto* const host = new Host;
  const std::string url = kServer.url("/sales");
  host->callWhile([&] { return state.KeepRunning(); }, url, kelm::ZuHTTPMethod::Post,
                  kelm::dataOf(sale()),
                  [&](std::size_t size) { requireSize(state, size, size > 0); });
}
void postByCurl(benchmark::State& state) {
  Curl curl;
  const std::string url = kServer.url("/sales");
  for (auto _ : state) {
    const std::size_t size = curl.call(url, &sale());
    requireSize(state, size, size > 0);
  }
}
BENCHMARK(postByKelm)->Name("http_post_180B/kelm")->MeasureProcessCPUTime()->MinTime(0.3);
BENCHMARK(postByCurl)->Name("http_post_180B/peer")->MeasureProcessCPUTime()->MinTime(0.3);

void getByKelm(benchmark::State& state, const char* path) {
  static auto* const host = new Host;
  const std::string url = kServer.url(path);
  host->callWhile([&] { return state.KeepRunning(); }, url, kelm::ZuHTTPMethod::Get, std::nullopt,
                  [&](std::size_t size) { requireSize(state, size, size == kMebibyte); });
}
void getByCurl(benchmark::State& state, const char* path) {
  Curl curl;
  const std::string url = kServer.url(path);
  for (auto _ : state) {
    const std::size_t size = curl.call(url, nullptr);
    requireSize(state, size, size == kMebibyte);
  }
}
// What is no text is not logged; a text is, in full.
BENCHMARK_CAPTURE(getByKelm, , "/binary")
    ->Name("http_get_1MiB/kelm")
    ->MeasureProcessCPUTime()
    ->MinTime(0.3);
BENCHMARK_CAPTURE(getByCurl, , "/binary")
    ->Name("http_get_1MiB/peer")
    ->MeasureProcessCPUTime()
    ->MinTime(0.3);
BENCHMARK_CAPTURE(getByKelm, , "/text")
    ->Name("http_get_1MiB_of_text/kelm")
    ->MeasureProcessCPUTime()
    ->MinTime(0.3);
BENCHMARK_CAPTURE(getByCurl, , "/text")
    ->Name("http_get_1MiB_of_text/peer")
    ->MeasureProcessCPUTime()
    ->MinTime(0.3);

}  // namespace
