#include "kelm/network/zu_http_task.h"

#include <algorithm>
#include <utility>

#include "kelm/collections/letter_case.h"
#include "kelm/logging/vasp_logger.h"
#include "kelm/network/zu_http_task_state.h"

namespace kelm {

std::atomic<std::int64_t> serverTimestampOffset{0};

ZuHTTPTask::ZuHTTPTask(std::optional<std::string> url, ZuHTTPMethod method,
                       std::shared_ptr<platform::UrlSession> session)
    : method_(method), held_(std::make_unique<Held>()) {
  held_->url = std::move(url);
  held_->session = std::move(session);
}

ZuHTTPTask::~ZuHTTPTask() { dispose(); }

std::shared_ptr<ZuHTTPTask> ZuHTTPTask::initWithURL_andMethod_usingSession(
    std::optional<std::string> url, ZuHTTPMethod method,
    std::shared_ptr<platform::UrlSession> session) {
  return std::shared_ptr<ZuHTTPTask>(new ZuHTTPTask(std::move(url), method, std::move(session)));
}

void ZuHTTPTask::dispose() {
  Held released;  // destroyed when the lock is not held: callbacks may own anything
  const Lock lock(mutex_);
  std::swap(*held_, released);
}

void ZuHTTPTask::setRequestParameters(std::optional<Dictionary> parameters) {
  const Lock lock(mutex_);
  held_->parameters = std::move(parameters);
}

std::optional<Dictionary> ZuHTTPTask::getRequestParameters() const {
  return held(&Held::parameters);
}

void ZuHTTPTask::setRequestParametersEncoding(ZuHTTPParamEncoding encoding) {
  const Lock lock(mutex_);
  encoding_ = encoding;
}

void ZuHTTPTask::setRequestMultiPartParameters(MultiPartList parts) {
  {
    const Lock lock(mutex_);
    multiPartParameters_ = std::move(parts);
    encoding_ = ZuHTTPParamEncoding::Multipart;
  }
  VaspLogger::logwithLevel_aspect_from_message(log_level::kInfo, log_aspect::kNet,
                                               "-[ZuHTTPTask setRequestMultiPartParameters:]",
                                               "NETWORK - Using MULTIPART encoding");
}

void ZuHTTPTask::setRequestBody(std::optional<Data> body) {
  const Lock lock(mutex_);
  held_->body = std::move(body);
}

void ZuHTTPTask::addHttpHeaders(const Dictionary& headers) {
  if (headers.empty()) return;
  const Lock lock(mutex_);
  if (held_->additionalHeaders.empty())
    held_->additionalHeaders = headers;
  else
    setHeaders_onHeaderMutableDictionary(headers, &held_->additionalHeaders);
}

std::optional<Dictionary> ZuHTTPTask::getMutableHeaderDict() const {
  const Lock lock(mutex_);
  return computedHeaders_;
}

void ZuHTTPTask::setMutableHeaderDict(std::optional<Dictionary> headers) {
  const Lock lock(mutex_);
  computedHeaders_ = std::move(headers);
}

std::int64_t ZuHTTPTask::serverTimestampOffset() { return kelm::serverTimestampOffset; }

void ZuHTTPTask::setHeaders_onHeaderMutableDictionary(const Dictionary& headers,
                                                      Dictionary* target) {
  if (headers.empty()) return;
  if (target == nullptr) {
    VaspLogger::logwithLevel_aspect_from_message(
        log_level::kError, log_aspect::kFrontend | log_aspect::kInternal,
        "+[ZuHTTPTask setHeaders:onHeaderMutableDictionary:]",
        "It have been asked to add headers to an empty heder set");
    return;
  }
  const auto isReplaced = [&](std::string_view name) {
    return std::any_of(headers.begin(), headers.end(),
                       [&](const auto& header) { return equalInUpperCase(header.key, name); });
  };
  Dictionary merged;
  for (const auto& [name, value] : *target)
    if (!isReplaced(name)) merged.set(name, value);
  merged.addEntries(headers);
  *target = std::move(merged);
}

std::string_view ZuHTTPTask::methodStringFromValue(ZuHTTPMethod method) {
  switch (method) {
    case ZuHTTPMethod::Get:
      return "get";
    case ZuHTTPMethod::Put:
      return "put";
    case ZuHTTPMethod::Delete:
      return "delete";
    case ZuHTTPMethod::Head:
      return "head";
    case ZuHTTPMethod::Patch:
      return "patch";
    default:
      return "post";
  }
}

void ZuHTTPTask::setDownloadProgressHandler_uploadProgressHandler(ZuHTTPProgress download,
                                                                  ZuHTTPProgress upload) {
  const Lock lock(mutex_);
  if (download) held_->downloadProgress.swap(download);
  if (upload) held_->uploadProgress.swap(upload);
}

void ZuHTTPTask::setDownloadProgressValue(const Value& progress) {
  const ZuHTTPProgress handler = held(&Held::downloadProgress);
  if (!handler) return;
  VaspLogger::logwithLevel_aspect_from_message(
      log_level::kInfo, log_aspect::kNet, "-[ZuHTTPTask setDownloadProgressValue:]",
      "NETWORK - Progress download network request: %@", progress);
  handler(progress);
}

void ZuHTTPTask::setUploadProgressValue(const Value& progress) {
  const ZuHTTPProgress handler = held(&Held::uploadProgress);
  if (!handler) return;
  VaspLogger::logwithLevel_aspect_from_message(
      log_level::kInfo, log_aspect::kNet, "-[ZuHTTPTask setUploadProgressValue:]",
      "NETWORK - Progress upload network request: %@", progress);
  handler(progress);
}

std::shared_ptr<const platform::UrlRequest> ZuHTTPTask::request() const {
  return held(&Held::request);
}

std::shared_ptr<const platform::UrlResponse> ZuHTTPTask::response() const {
  return held(&Held::response);
}

std::shared_ptr<platform::UrlSession> ZuHTTPTask::currentSession() const {
  return held(&Held::session);
}

std::shared_ptr<platform::DataTask> ZuHTTPTask::currentTask() const {
  return held(&Held::currentTask);
}

ObjectPointer ZuHTTPTask::userInfo() const { return held(&Held::userInfo); }

void ZuHTTPTask::setUserInfo(ObjectPointer userInfo) {
  const Lock lock(mutex_);
  held_->userInfo.swap(userInfo);
}

std::optional<Error> ZuHTTPTask::errorOnTaskExecution() const {
  const Lock lock(mutex_);
  return errorOnTaskExecution_;
}

}  // namespace kelm
