#pragma once

#include "kelm/network/background_task.h"
#include "kelm/network/zu_http_task.h"

namespace kelm {

struct ZuHTTPTask::Held {
  std::optional<std::string> url;
  std::optional<Dictionary> parameters;
  Dictionary additionalHeaders;
  std::optional<Data> body;
  std::shared_ptr<platform::DataTask> currentTask;
  std::shared_ptr<platform::UrlSession> session;
  ObjectPointer userInfo;
  std::shared_ptr<const platform::UrlRequest> request;
  std::shared_ptr<const platform::UrlResponse> response;
  ZuHTTPCompletion completion;
  ZuHTTPProgress downloadProgress;
  ZuHTTPProgress uploadProgress;
};

/// What a request is built from, copied so that no lock is held while user code runs.
struct ZuHTTPTask::RequestInputs {
  std::optional<std::string> url;
  Dictionary parameters;
  Dictionary additionalHeaders;
  std::optional<Data> body;
  MultiPartList parts;
  ZuHTTPParamEncoding encoding = ZuHTTPParamEncoding::Form;
};

struct ZuHTTPTask::Answer {
  std::optional<Data> body;
  std::shared_ptr<const platform::UrlResponse> response;
  std::optional<Error> error;
  ZuHTTPTransformation transformation;
};

template <class T>
T ZuHTTPTask::held(T Held::*member) const {
  const Lock lock(mutex_);
  return (*held_).*member;
}

}  // namespace kelm
