#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kelm/base/data.h"
#include "kelm/base/error.h"
#include "kelm/base/mutex.h"
#include "kelm/base/object.h"
#include "kelm/base/value.h"
#include "kelm/network/multi_part_form_data_object.h"
#include "kelm/network/zu_http_response.h"
#include "kelm/platform/http/url_session.h"

namespace kelm {

/// The method; Post and Put carry parameters in the body, all others (any other value too, which
/// is sent as POST) in the query string of the URL.
enum class ZuHTTPMethod : std::int32_t { Post, Get, Put, Delete, Head, Patch };
/// How parameters go into a body.
enum class ZuHTTPParamEncoding : std::int32_t { Form, Json, Multipart };

/// Turns an answer, of whatever status code, into the result that the completion gets.
using ZuHTTPTransformation =
    std::function<std::optional<Value>(const std::shared_ptr<ZuHTTPResponse>&)>;
using ZuHTTPCompletion =
    std::function<void(std::optional<Value> result, std::optional<Error> error)>;
using ZuHTTPResponseCompletion =
    std::function<void(std::shared_ptr<ZuHTTPResponse> response, std::optional<Error> error)>;
using ZuHTTPProgress = std::function<void(const Value& progress)>;

/// What `ZuHTTPTask::serverTimestampOffset` returns, in milliseconds; for the host to set.
KELM_API extern std::atomic<std::int64_t> serverTimestampOffset;

class BackgroundTask;

/// One HTTP call: made, configured, started once, answered, disposed of. It builds its request and
/// computes the headers, but does not put them on the request: a subclass does (`HttpCall`, for
/// everyday use), or the session's configuration. Redirects and time-outs are the session's, too.
///
/// A task lives in a std::shared_ptr, and keeps itself alive from the start to the answer. A
/// subclass passes its constructor's arguments on and is made with `new` inside one:
///
///   class SaleCall : public kelm::ZuHTTPTask {
///    public:
///     static std::shared_ptr<SaleCall> make(std::string url,
///                                           std::shared_ptr<kelm::platform::UrlSession> session) {
///       return std::shared_ptr<SaleCall>(new SaleCall(std::move(url), std::move(session)));
///     }
///     std::optional<kelm::platform::UrlRequest> buildRequest() override {
///       auto request = ZuHTTPTask::buildRequest();
///       if (request) request->headers.set("X-Till", "7");
///       return request;
///     }
///
///    private:
///     SaleCall(std::string url, std::shared_ptr<kelm::platform::UrlSession> session)
///         : ZuHTTPTask(std::move(url), kelm::ZuHTTPMethod::Post, std::move(session)) {}
///   };
///
/// Configured by one thread at a time. Once started, aborting, progress and reading the properties
/// are safe from every thread. Headers, cookies and bodies are logged in full.
class KELM_API ZuHTTPTask : public Object, public std::enable_shared_from_this<ZuHTTPTask> {
 public:
  /// `initWithURL:andMethod:usingSession:` A task without parameters, headers or body, in form
  /// encoding, that completes on the main thread.
  static std::shared_ptr<ZuHTTPTask> initWithURL_andMethod_usingSession(
      std::optional<std::string> url, ZuHTTPMethod method,
      std::shared_ptr<platform::UrlSession> session);
  ~ZuHTTPTask() override;
  ZuHTTPTask(const ZuHTTPTask&) = delete;
  ZuHTTPTask& operator=(const ZuHTTPTask&) = delete;

  /// `setRequestParameters:` Texts for form encoding and query strings (another kind goes as its
  /// description); whatever JSON holds for that encoding.
  void setRequestParameters(std::optional<Dictionary> parameters);
  /// `getRequestParameters`
  std::optional<Dictionary> getRequestParameters() const;
  /// `setRequestParametersEncoding:`
  void setRequestParametersEncoding(ZuHTTPParamEncoding encoding);
  /// `setRequestMultiPartParameters:` Sets the encoding to multipart as well; one INFO line. Used
  /// only while there are neither a body nor plain parameters.
  void setRequestMultiPartParameters(MultiPartList parts);
  /// `setRequestBody:` A body that, unless empty, goes in place of all parameters.
  void setRequestBody(std::optional<Data> body);
  /// `addHttpHeaders:` Adds to this task's own headers; replaces those of the same names, compared
  /// without case. Empty changes nothing.
  void addHttpHeaders(const Dictionary& headers);
  /// `getMethod`
  ZuHTTPMethod getMethod() const { return method_; }
  /// `getMutableHeaderDict` The headers that the last `buildRequest` computed; absent before.
  std::optional<Dictionary> getMutableHeaderDict() const;
  /// `setMutableHeaderDict:`
  void setMutableHeaderDict(std::optional<Dictionary> headers);
  /// `mutableHeaderDict` Always absent: a slot of its own that nothing writes. The computed headers
  /// are `getMutableHeaderDict`'s.
  std::optional<Dictionary> mutableHeaderDict() const { return std::nullopt; }

  /// `buildRequest` The request with URL, method and body; its headers are only computed, into
  /// `getMutableHeaderDict`. Pairs in the URL's own query go over the parameters of the same key
  /// (one whose escapes are not valid UTF-8 is left out); a query without "=" is dropped, and so
  /// is what follows a second "?". The URL is absent, with one ERROR line, when it is
  /// empty or no `Url::isReference` ("(null)" before a query); brackets in a query are escaped.
  /// Parameters that JSON cannot hold give no body. REQUIRES a "=" in every pair of a query that
  /// has one: raises NSRangeException. An override may return none: then no call is made.
  virtual std::optional<platform::UrlRequest> buildRequest();

  /// `addCommonHttpHeaders:` Adds headers to every later request of the process, over those of
  /// exactly the same names; none can be removed.
  static void addCommonHttpHeaders(const Dictionary& headers);
  /// `serverTimestampOffset` Milliseconds; 0 unless the host set the variable of that name.
  static std::int64_t serverTimestampOffset();
  /// `methodStringFromValue:` "post", "get", "put", "delete", "head" or "patch"; "post" for any
  /// other value.
  static std::string_view methodStringFromValue(ZuHTTPMethod method);
  /// `setHeaders:onHeaderMutableDictionary:` Removes from `target` the names that equal a new one
  /// without case, then adds the new ones. No target: one ERROR line.
  static void setHeaders_onHeaderMutableDictionary(const Dictionary& headers, Dictionary* target);

  /// `performWithTransformation:withNetworkCompletion:` Starts the call. The completion is called
  /// once, with the transformation's result or with an error (also when the transformation throws,
  /// or the task has no session). Never, if `buildRequest` gives none. What `buildRequest` or
  /// `taskWillExecute:` raises reaches the caller instead, and the task is disposed of.
  /// REQUIRES a transformation when there is a completion: raises NSInvalidArgumentException.
  void performWithTransformation_withNetworkCompletion(const ZuHTTPTransformation& transformation,
                                                       ZuHTTPCompletion completion);
  /// `performAsyncNetworkTaskWithCompletion:` The same; the result is the response itself.
  void performAsyncNetworkTaskWithCompletion(ZuHTTPResponseCompletion completion);
  /// `handleProcessingOfData:withURLResponse:withNetworkError:andWithTransformation:` Processes an
  /// answer on this thread: stores and logs it, calls the completion, disposes of the task. Public
  /// so that a subclass or a test may feed one. What a callback throws goes to the console.
  void handleProcessingOfData_withURLResponse_withNetworkError_andWithTransformation(
      std::optional<Data> body, std::shared_ptr<const platform::UrlResponse> response,
      std::optional<Error> error, const ZuHTTPTransformation& transformation);

  /// `setDownloadProgressHandler:uploadProgressHandler:` An empty one leaves the earlier in place.
  void setDownloadProgressHandler_uploadProgressHandler(ZuHTTPProgress download,
                                                        ZuHTTPProgress upload);
  /// `setDownloadProgressValue:` For the session's delegate: logs the value and passes it on.
  /// Nothing, not even a line, without a handler.
  void setDownloadProgressValue(const Value& progress);
  /// `setUploadProgressValue:`
  void setUploadProgressValue(const Value& progress);
  /// `abortNetworkTask` Cancels the exchange; the error comes through the completion.
  void abortNetworkTask();
  /// `dispose` Releases callbacks, session, request and the rest; done after the answer and at the
  /// end of the task. An exchange that still runs is not cancelled, but completes nothing.
  void dispose();

  /// `request` The request that was started; null before and after.
  std::shared_ptr<const platform::UrlRequest> request() const;
  /// `response` The platform's response, from the answer until the completion has run.
  std::shared_ptr<const platform::UrlResponse> response() const;
  /// `getResponse`
  std::shared_ptr<const platform::UrlResponse> getResponse() const { return response(); }
  /// `currentSession`
  std::shared_ptr<platform::UrlSession> currentSession() const;
  /// `currentTask` The exchange; null before the start and after the answer.
  std::shared_ptr<platform::DataTask> currentTask() const;
  /// `userInfo` For the caller's own use.
  ObjectPointer userInfo() const;
  /// `setUserInfo:`
  void setUserInfo(ObjectPointer userInfo);
  /// `forceCompletitionMainThread` Whether the answer is processed on the main thread (true at
  /// first) or on the thread that it came on.
  bool forceCompletitionMainThread() const { return forceCompletitionMainThread_; }
  /// `setForceCompletitionMainThread:`
  void setForceCompletitionMainThread(bool force) { forceCompletitionMainThread_ = force; }
  /// The error of the finished call; `dispose` keeps it.
  std::optional<Error> errorOnTaskExecution() const;

 protected:
  ZuHTTPTask(std::optional<std::string> url, ZuHTTPMethod method,
             std::shared_ptr<platform::UrlSession> session);

  /// `getCurrentSessionName` For the log; empty unless overridden.
  virtual std::string getCurrentSessionName() const { return {}; }
  /// `taskWillExecute:` Just before the exchange starts (null without a session).
  virtual void taskWillExecute(const std::shared_ptr<platform::DataTask>& /*task*/) {}
  /// `taskDidExecute:` Just before the answer is processed.
  virtual void taskDidExecute(const std::shared_ptr<platform::DataTask>& /*task*/) {}

 private:
  /// What `dispose` releases.
  struct Held;
  struct RequestInputs;
  struct Answer;

  RequestInputs requestInputs() const;
  void start(const std::shared_ptr<const platform::UrlRequest>&, const ZuHTTPTransformation&);
  static void deliver(std::shared_ptr<ZuHTTPTask> task, Answer answer);
  void endBackgroundTask();
  void complete(const std::shared_ptr<ZuHTTPResponse>&, const ZuHTTPTransformation&);
  void logAboutNetworkTask() const;
  template <class T>
  T held(T Held::*member) const;

  const ZuHTTPMethod method_;
  std::atomic<bool> forceCompletitionMainThread_{true};
  mutable Mutex mutex_;
  std::unique_ptr<Held> held_ KELM_GUARDED_BY(mutex_);
  MultiPartList multiPartParameters_ KELM_GUARDED_BY(mutex_);
  std::optional<Dictionary> computedHeaders_ KELM_GUARDED_BY(mutex_);
  std::optional<Error> errorOnTaskExecution_ KELM_GUARDED_BY(mutex_);
  std::shared_ptr<const Data> responseBody_ KELM_GUARDED_BY(mutex_);
  ZuHTTPParamEncoding encoding_ KELM_GUARDED_BY(mutex_) = ZuHTTPParamEncoding::Form;
  std::optional<std::vector<platform::Cookie>> requestCookies_ KELM_GUARDED_BY(mutex_);
  std::shared_ptr<BackgroundTask> backgroundTask_ KELM_GUARDED_BY(mutex_);
};

}  // namespace kelm
