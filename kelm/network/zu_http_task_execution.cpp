#include <cxxabi.h>

#include <cstdlib>
#include <exception>
#include <typeinfo>
#include <utility>

#include "kelm/base/error.h"
#include "kelm/base/format.h"
#include "kelm/logging/vasp_logger.h"
#include "kelm/network/hooks/kelm_core_app_exposed_hooks.h"
#include "kelm/network/zu_http_task_state.h"
#include "kelm/platform/dispatch.h"
#include "kelm/platform/http/cookies.h"
#include "kelm/platform/reporting.h"

namespace kelm {

namespace {

/// The object's class without its namespaces.
std::string classNameOf(const Object& object) {
  const std::type_info& type = typeid(object);
  const std::unique_ptr<char, decltype(&std::free)> demangled(
      abi::__cxa_demangle(type.name(), nullptr, nullptr, nullptr), &std::free);
  const std::string_view name = demangled ? demangled.get() : type.name();
  const std::size_t colons = name.substr(0, name.find('<')).rfind("::");
  return std::string(colons == std::string_view::npos ? name : name.substr(colons + 2));
}

void showActivity(bool visible) {
  const auto application = KelmCoreAppExposedHooks::getInstance().sharedApplication();
  if (application) application->setNetworkActivityIndicatorVisible(visible);
}

platform::MainLoop& mainLoop() { return platform::current<platform::Dispatcher>()->mainLoop(); }

}  // namespace

void ZuHTTPTask::performWithTransformation_withNetworkCompletion(
    const ZuHTTPTransformation& transformation, ZuHTTPCompletion completion) {
  if (completion && !transformation)
    throw Exception(exception_name::kInvalidArgument, "a completion needs a transformation");
  {
    const Lock lock(mutex_);
    held_->completion.swap(completion);
  }
  try {
    std::optional<platform::UrlRequest> built = buildRequest();
    if (!built) return;
    start(std::make_shared<const platform::UrlRequest>(std::move(*built)), transformation);
  } catch (...) {
    endBackgroundTask();
    dispose();
    throw;
  }
}

void ZuHTTPTask::performAsyncNetworkTaskWithCompletion(ZuHTTPResponseCompletion completion) {
  ZuHTTPCompletion passOn;
  if (completion) {
    passOn = [completion = std::move(completion)](const std::optional<Value>& result,
                                                  std::optional<Error> error) {
      const ObjectPointer* object = result ? result->get<ObjectPointer>() : nullptr;
      completion(object ? std::dynamic_pointer_cast<ZuHTTPResponse>(*object) : nullptr,
                 std::move(error));
    };
  }
  performWithTransformation_withNetworkCompletion(
      [](const std::shared_ptr<ZuHTTPResponse>& response) { return Value(response); },
      std::move(passOn));
}

void ZuHTTPTask::start(const std::shared_ptr<const platform::UrlRequest>& request,
                       const ZuHTTPTransformation& transformation) {
  const std::shared_ptr<platform::UrlSession> session = currentSession();
  auto cookies =
      session ? platform::cookiesFor(session->configuration(), request->url) : std::nullopt;
  auto application = KelmCoreAppExposedHooks::getInstance().sharedApplication();
  {
    const Lock lock(mutex_);
    held_->request = request;
    requestCookies_ = std::move(cookies);
  }
  auto background =
      application ? BackgroundTask::begin(std::move(application), "KelmTask " + classNameOf(*this))
                  : nullptr;
  auto answered = [task = shared_from_this(), transformation = transformation](
                      Data body, std::shared_ptr<const platform::UrlResponse> response,
                      std::optional<Error> error) mutable {
    deliver(std::move(task),
            {std::move(body), std::move(response), std::move(error), std::move(transformation)});
  };
  const auto exchange = session ? session->makeDataTask(*request, answered) : nullptr;
  {
    const Lock lock(mutex_);
    backgroundTask_.swap(background);
    held_->currentTask = exchange;
  }
  VaspLogger::logwithLevel_aspect_from_message(
      log_level::kInfo, log_aspect::kNet,
      "-[ZuHTTPTask performWithTransformation:withNetworkCompletion:]",
      "NETWORK - START ASYNC NETWORK CALL");
  taskWillExecute(exchange);
  mainLoop().post([] { showActivity(true); });
  if (exchange) return exchange->resume();
  mainLoop().post([answered]() mutable {
    answered({}, nullptr, platform::urlError(platform::url_error::kUnknown));
  });
}

void ZuHTTPTask::abortNetworkTask() {
  VaspLogger::logwithLevel_aspect_from_message(log_level::kInfo, log_aspect::kNet,
                                               "-[ZuHTTPTask abortNetworkTask]",
                                               "ABSTRACT - aborting network task");
  if (const auto exchange = currentTask()) exchange->cancel();
}

void ZuHTTPTask::deliver(std::shared_ptr<ZuHTTPTask> task, Answer answer) {
  const bool toMainThread = task->forceCompletitionMainThread() && !mainLoop().isMainThread();
  // Takes the network thread's reference along, so that the task ends where it completes.
  auto work = [task = std::move(task), answer = std::move(answer)]() mutable {
    task->handleProcessingOfData_withURLResponse_withNetworkError_andWithTransformation(
        std::move(answer.body), std::move(answer.response), std::move(answer.error),
        answer.transformation);
    task->endBackgroundTask();
  };
  if (toMainThread)
    mainLoop().post(std::move(work));
  else
    work();
}

void ZuHTTPTask::endBackgroundTask() {
  std::shared_ptr<BackgroundTask> background;
  {
    const Lock lock(mutex_);
    background.swap(backgroundTask_);
  }
  if (background) background->end();
}

void ZuHTTPTask::handleProcessingOfData_withURLResponse_withNetworkError_andWithTransformation(
    std::optional<Data> body, std::shared_ptr<const platform::UrlResponse> response,
    std::optional<Error> error, const ZuHTTPTransformation& transformation) {
  const auto alive = weak_from_this().lock();  // the completion may drop the last other reference
  platform::runReporting([&] { taskDidExecute(currentTask()); });
  if (error) {
    VaspLogger::logwithLevel_aspect_from_message(
        log_level::kInfo, log_aspect::kNet,
        "-[ZuHTTPTask handleProcessingOfData:withURLResponse:withNetworkError:"
        "andWithTransformation:]",
        "NETWORK - Error %@", error);
  }
  auto answer = std::make_shared<ZuHTTPResponse>();
  answer->setBodyResponse(std::move(body));
  if (response) {
    answer->setStatusCode(response->statusCode);
    answer->setHeadersResponse(response->headers);
    answer->setCookiesResponse(platform::cookiesFromHeaders(response->headers, ""));
  }
  {
    const Lock lock(mutex_);
    held_->response = std::move(response);
    responseBody_ = answer->bodyResponse();
    errorOnTaskExecution_ = std::move(error);
  }
  platform::runReporting([&] { logAboutNetworkTask(); });
  {
    const Lock lock(mutex_);
    responseBody_.reset();
  }
  platform::runReporting([&] { complete(answer, transformation); });
  platform::runReporting([] { showActivity(false); });
  dispose();
}

void ZuHTTPTask::complete(const std::shared_ptr<ZuHTTPResponse>& response,
                          const ZuHTTPTransformation& transformation) {
  ZuHTTPCompletion completion;
  std::optional<Error> error;
  {
    const Lock lock(mutex_);
    completion.swap(held_->completion);
    error = errorOnTaskExecution_;
  }
  if (!completion) return;
  std::optional<Value> result;
  if (!error) {
    try {
      result = transformation(response);
    } catch (const std::exception& failure) {
      error = Error::make(error_domain::kFormat, 0, describe(failure));
    } catch (...) {
      error = Error::make(error_domain::kFormat, 0, "unknown exception");
    }
  }
  completion(std::move(result), std::move(error));
}

}  // namespace kelm
