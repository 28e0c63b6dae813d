#include "phoned/io/channel.h"

#include <algorithm>

#include <arpa/inet.h>

#include "phoned/core/text.h"

namespace phoned {

namespace {

constexpr trace::Part kDialLayer = {"dial layer"};

trace::Part part_of(const sockaddr_in& card) {
  return {"card", ntohs(card.sin_port)};
}

}  // namespace

std::optional<Network> Network::parse(const std::string& text) {
  constexpr uint32_t kBits = 32;
  std::string_view rest = text;
  const std::string address(take_until(rest, "/"));
  in_addr parsed = {};
  const auto bits = address.size() == text.size() ? kBits : to_number(rest, 0, kBits);
  if (!bits || inet_pton(AF_INET, address.c_str(), &parsed) != 1) {
    return std::nullopt;
  }
  return Network{ntohl(parsed.s_addr), *bits == 0 ? 0 : ~uint32_t{0} << (kBits - *bits)};
}

void Channel::open(uint16_t port) {
  requests_.open();
  replies_.open();
  if (!server_.open(htons(port), requests_.write_fd())) {
    throw Error("cannot listen on port " + std::to_string(port) + ": " + reason() +
                "; choose another with --port, or 0 for any free one");
  }
  fcntl(server_.socket(), F_SETFL, O_NONBLOCK);  // rather lose an answer than wait for the network
  sockaddr_in local = {};
  socklen_t length = sizeof local;
  getsockname(server_.socket(), reinterpret_cast<sockaddr*>(&local), &length);
  port_ = ntohs(local.sin_port);
  if (!datagram_.read_external(server_.socket()) || !request_.read(requests_.read_fd()) || !wait_for_deadline()) {
    throw Error(kCannotWatch);
  }
}

// ---- 1. A datagram has arrived: it goes from the socket into the request pipe ----

void Channel::on_datagram() {
  const auto waiting = peek();
  if (!waiting || !requests_.is_empty()) {
    return;
  }
  if (uint64_t Statistics::*const count = silence_for(*waiting)) {
    ++(counts_.*count);
    userlib::drop_datagram(server_.socket());
  } else if (!userlib::can_be_bridged(waiting->size)) {
    trace::message(part_of(waiting->sender), waiting->text, part(), trace::Way::kIn);
    userlib::drop_datagram(server_.socket());
    const std::string why = "datagram of " + std::to_string(waiting->size) + " bytes: at most " +
                            std::to_string(userlib::kMaxDatagram) + " are taken";
    answer(waiting->sender,
           dial_layer_.handle(Event(Event::Kind::kBad, 0, waiting->sender, why), userlib::monotonic_now()));
  } else {
    server_.socket_read();
    sender_ = server_.peer();
    if (requests_.is_empty()) {
      count_loss("a datagram");
    }
  }
}

std::optional<Channel::Waiting> Channel::peek() const {
  Waiting waiting;
  waiting.text.resize(userlib::kMaxDatagram);
  socklen_t length = sizeof waiting.sender;
  const ssize_t size = recvfrom(server_.socket(), waiting.text.data(), waiting.text.size(), MSG_PEEK | MSG_TRUNC,
                                reinterpret_cast<sockaddr*>(&waiting.sender), &length);
  if (size < 0) {
    return std::nullopt;
  }
  waiting.size = static_cast<size_t>(size);
  waiting.text.resize(std::min(waiting.size, userlib::kMaxDatagram));
  return waiting;
}

// Where to count a datagram that gets no answer; null if it gets one. Strangers get none, and neither does another phoned,
// nor this one behind a forged address: they would answer each other for ever.
uint64_t Statistics::*Channel::silence_for(const Waiting& waiting) const {
  if (!allowed_.contains(waiting.sender)) {
    return &Statistics::strangers;
  }
  if (waiting.size == 0) {
    return &Statistics::empty;
  }
  return looks_like_answer(waiting.text) ? &Statistics::answers : nullptr;
}

// ---- 2. It is in the request pipe: it becomes a message for the dial layer, whose answer is sent ----

void Channel::on_request() {
  userlib::Frame datagram = userlib::Frame::copy_of(requests_.take());
  if (datagram.size() == 0) {
    return count_loss("a datagram");
  }
  trace::message(part_of(sender_), datagram.text(), part(), trace::Way::kIn);
  trace::message(part(), datagram.text(), kDialLayer, trace::Way::kIn);
  PHONED_LOG(TRACE, trace::modules.line, "event %s", quote(datagram.text()).c_str());
  answer(sender_, dial_layer_.handle(parse_event(datagram, sender_), userlib::monotonic_now()));
}

void Channel::answer(const sockaddr_in& card, const std::string& text) {
  trace::message(kDialLayer, text, part(), trace::Way::kOut);
  if (!send(card, text)) {
    return count_loss("an answer");
  }
  trace::message(part(), text, part_of(card), trace::Way::kOut);
}

// Returns false if the answer is lost.
bool Channel::send(const sockaddr_in& card, std::string_view text) {
  server_.peer() = card;
  const bool is_in_pipe = replies_.is_empty() && replies_.put(text);
  for (int i = 0; i < kTries && is_in_pipe && !replies_.is_empty(); ++i) {
    server_.file_read(replies_.read_fd());
  }
  return replies_.take().empty() && is_in_pipe;
}

void Channel::count_loss(const char* what) {
  ++counts_.lost;
  PHONED_LOG(ERROR, trace::modules.phoned, "%s is lost: the system refuses to move it through a pipe", what);
}

// ---- 3. No digit came in time: the dial layer decides, and the outcome is sent ----

// Called after every turn, because the reactor calls no timer while datagrams keep arriving. The socket is emptied before:
// a digit that came in time counts, even if phoned was stopped meanwhile. But only for so many turns, more than a socket
// of the usual size holds, so that a flood cannot suspend deadlines.
void Channel::decide_overdue() {
  constexpr uint32_t kMostTurns = 1000;  // a datagram takes two
  const timeval now = userlib::monotonic_now();
  const auto deadline = dial_layer_.next_deadline();
  const auto has_datagram = [this] { return userlib::waiting_datagram(server_.socket()) || !requests_.is_empty(); };
  if (!deadline || !userlib::is_reached(*deadline, now)) {
    turns_since_due_ = 0;
  } else if (!has_datagram() || ++turns_since_due_ >= kMostTurns) {
    turns_since_due_ = 0;
    for (const Notice& notice : dial_layer_.handle_timeouts(now)) {
      answer(notice.card, notice.text);
    }
  }
  wait_for_deadline();
}

// One timer serves all 256 lines, because a reactor has 80. Fails only when it is set for the first time.
bool Channel::wait_for_deadline() {
  constexpr std::chrono::hours kNoDeadline{24};
  const timeval now = userlib::monotonic_now();
  return deadline_.start(
      userlib::wait_until(dial_layer_.next_deadline().value_or(userlib::later(now, kNoDeadline)), now));
}

}  // namespace phoned
