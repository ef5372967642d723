#include "calls/service_call.h"

#include <chrono>
#include <exception>
#include <system_error>
#include <utility>

#include "calls/single_shot_callback.h"
#include "transport/errors.h"

namespace qlczephra {

ServiceCall::ServiceCall(const std::shared_ptr<Client>& client, Wording wording, Target target,
                         std::optional<platform::Secret> token)
    : client_(client), wording_(wording), target_(target), token_(std::move(token)) {}

// ---- token

void ServiceCall::begin(const std::shared_ptr<ServiceCall>& call) {
  const auto client = call->client_.lock();
  client->add(call);
  try {
    client->queue().post([weak = call->weak(), log = client->log()] {
      bool isThere = false;
      run(weak, [&](ServiceCall& alive, Client& its) {
        isThere = true;
        alive.takeToken(its);
      });
      if (!isThere) log.info("No CCR token, asking for the new one");
    });
  } catch (const std::system_error&) {  // no thread
    call->finish(*client, outOfMemoryError());
  } catch (...) {
    client->remove(*call);
    throw;
  }
}

void ServiceCall::takeToken(Client& client) {
  if (!token_) token_ = client.ccrToken();
  if (token_) {
    attempt(client);
    return;
  }
  client.log().info("No CCR token, asking for the new one");
  askDelegate(client);
}

void ServiceCall::askDelegate(Client& client) {
  const auto delegate = client.authDelegate();
  if (delegate == nullptr) return;  // it gives no answer, and the call stays open
  hostIsAsked(client);
  // Made here, so that memory that runs out is no exception of the host's.
  QLCZephraAuthenticationDelegate::CredentialsCallback answer =
      singleShot([weak = weak()](const std::optional<std::string>& given, const ErrorRef& error) {
        run(weak, [&](ServiceCall&, Client& its) {
          const auto secret = given ? std::optional(platform::Secret(*given)) : std::nullopt;
          its.queue().post([weak, secret, error] {
            run(weak, [&](ServiceCall& call, Client& alive) { call.acceptCredentials(alive, secret, error); });
          });
        });
      });
  client.callHost("an authentication delegate", [&] { delegate->getCCRCredentials(std::move(answer)); });
}

void ServiceCall::acceptCredentials(Client& client, const std::optional<platform::Secret>& given,
                                    const ErrorRef& error) {
  if (error != nullptr || !given) {
    client.log().error("No CCR token provided");
    finish(client, error != nullptr ? error : makeError(ZephraErrorCode::unauthorized));
    return;
  }
  client.log().debug("Received CCR token");
  token_ = given;
  client.setCcrToken(given);
  attempt(client);
}

// ---- URL and request

void ServiceCall::attempt(Client& client) {
  if (!isWanted(client)) {
    client.remove(*this);
    return;
  }
  client.log().info(wording_.attempt);
  HeaderMap headers = client.ownHeaders();
  addCondition(client, headers);
  hostIsAsked(client);
  QLCServicesURLsProviderProtocol::URLCallback answer = singleShot(
      [weak = weak(), headers = std::move(headers)](const ErrorRef& error, const std::optional<std::string>& url) {
        run(weak, [&](ServiceCall& call, Client& its) {
          if (url) {
            call.send(its, *url, headers);
            return;
          }
          its.log().error("Failed to get Zephra URL");
          call.finish(its, error != nullptr ? error : makeError(ZephraErrorCode::noServiceURL));
        });
      });
  client.callHost("a URL provider", [&] {
    client.urlsProvider().getURLForService(QLCServicesURLsProviderProtocol::settingsService, std::move(answer));
  });
}

void ServiceCall::send(Client& client, const std::string& base, const HeaderMap& headers) {
  if (!isWanted(client)) {
    client.remove(*this);
    return;
  }
  const std::string url = client.serviceURL(target_.url, base);
  client.networkRequest().requestText(
      url, target_.method, headers, token_->text(), body(client),
      [weak = weak(), log = client.log(), held = heldByTransfer()](
          const std::string& reply, int status, std::optional<std::string> eTag, std::optional<QLMError> error) {
        log.info("Zephra responded with status ", status);
        run(weak,
            [&](ServiceCall& call, Client& its) { call.handleReply(its, reply, status, std::move(eTag), error); });
      });
}

// ---- reply

void ServiceCall::handleReply(Client& client, const std::string& body, int status, std::optional<std::string> eTag,
                              std::optional<QLMError> error) {
  const ReplyMeaning meaning = client.classify(status, error);
  switch (status) {
    case 400:
      client.log().error("Bad request, fetching new settings before retrying");
      break;
    case 401:
      client.log().error("CCR token is invalid or expired");
      break;
    case 412:
      client.log().error("Wrong etag, will fetch new settings before retrying");
      break;
    default:
      break;
  }
  if (meaning.next != ReplyMeaning::Next::success) {
    act(client, status, meaning);
    return;
  }
  ErrorRef result;
  try {
    result = apply(client, body, std::move(eTag));
  } catch (const std::exception&) {  // no memory: as if it had not come
    client.log().process("qlczephra: a reply could not be applied for want of memory");
    act(client, 0, client.classify(0, QLMError::networkError));
    return;
  }
  finish(client, result);
}

void ServiceCall::act(Client& client, int status, const ReplyMeaning& meaning) {
  switch (meaning.next) {
    case ReplyMeaning::Next::notModified:
      notModified(client);
      return;
    case ReplyMeaning::Next::backOff:
      beforeRepetition(status);
      repeatAfter(client, meaning.delay);
      return;
    case ReplyMeaning::Next::recover:
      if (recover(client, status)) return;
      break;
    case ReplyMeaning::Next::success:
    case ReplyMeaning::Next::failure:
      break;
  }
  if (meaning.code == ZephraErrorCode::unexpectedResponse) {
    client.log().error("Unexpected response: ", status);
    finish(client, errorWithCode(*meaning.code, status));
    return;
  }
  finish(client, makeError(*meaning.code));
}

void ServiceCall::repeatAfter(Client& client, std::int64_t seconds) {
  client.log().write(wording_.level, std::string(wording_.repetition) + std::to_string(seconds) + " seconds");
  client.queue().postAfter(std::chrono::seconds(seconds), [weak = weak(), log = client.log(), level = wording_.level,
                                                           tells = wording_.tellsOfRepeating] {
    if (tells) log.write(level, "Firing retry now");
    run(weak, [](ServiceCall& call, Client& its) { call.attempt(its); });
  });
}

// ---- end

void ServiceCall::finish(Client& client, const ErrorRef& error) noexcept {
  if (std::exchange(ended_, true)) return;
  const auto self = shared_from_this();  // the client lets go of it
  client.remove(*this);
  try {
    logEnd(client, error);
  } catch (const std::exception&) {  // no memory for the line
  }
  end(client, error);
}

void ServiceCall::fail(Client& client) noexcept {
  client.log().process("qlczephra: a call ended for want of memory");
  finish(client, outOfMemoryError());
}

}  // namespace qlczephra
