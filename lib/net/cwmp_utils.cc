#include "vesk/net/cwmp_utils.h"

#include <array>
#include <cstdio>
#include <cstring>

#include "lib/frame.h"
#include "lib/log.h"
#include "lib/value/object.h"
#include "vesk/value/member.h"

namespace vesk {
namespace {

constexpr const char kSource[] = "lib/net/cwmp_utils";

struct Fault {
  uint32_t code;
  const char* text;
};

constexpr std::array kFaults = {
    Fault{9000, "Method not supported"},
    Fault{9001, "Request denied"},
    Fault{9002, "Internal error"},
    Fault{9003, "Invalid arguments"},
    Fault{9004, "Resources exceeded"},
    Fault{9005, "Invalid parameter name"},
    Fault{9006, "Invalid parameter type"},
    Fault{9007, "Invalid parameter value"},
    Fault{9008, "Attempt to set a non-writable parameter"},
    Fault{9009, "Notification request rejected"},
    Fault{9010, "Download failure"},
    Fault{9011, "Upload failure"},
    Fault{9012, "File transfer server authentication failure"},
    Fault{9013, "Unsupported protocol for file transfer"},
    Fault{9014, "Download failure: unable to join multicast group"},
    Fault{9015, "Download failure: unable to contact file server"},
    Fault{9016, "Download failure: unable to access file"},
    Fault{9017, "Download failure: unable to complete download"},
    Fault{9018, "Download failure: file corrupted"},
    Fault{9019, "Download failure: file authentication failure"},
};

// The faults of the client, counted from the first of them: all from 9003 to 9008 but 9004.
constexpr uint32_t kFirstOfClient = 9003;
constexpr uint32_t kCountFromFirst = 6;
constexpr uint32_t kOfClient = 0x3D;

struct TypeName {
  vk_type type;
  cwmp_type name;
};

constexpr std::array kTypeNames = {
    TypeName{VK_TYPE_INT, {VK_CWMP_NS_XML_SCHEMA, "int"}},
    TypeName{VK_TYPE_UNSIGNEDINT, {VK_CWMP_NS_XML_SCHEMA, "unsignedInt"}},
    TypeName{VK_TYPE_LONG, {VK_CWMP_NS_XML_SCHEMA, "long"}},
    TypeName{VK_TYPE_UNSIGNEDLONG, {VK_CWMP_NS_XML_SCHEMA, "unsignedLong"}},
    TypeName{VK_TYPE_BOOLEAN, {VK_CWMP_NS_XML_SCHEMA, "boolean"}},
    TypeName{VK_TYPE_DATETIME, {VK_CWMP_NS_XML_SCHEMA, "dateTime"}},
    TypeName{VK_TYPE_STRING, {VK_CWMP_NS_XML_SCHEMA, "string"}},
    TypeName{VK_TYPE_HEXBINARY, {VK_CWMP_NS_XML_SCHEMA, "hexBinary"}},
    TypeName{VK_TYPE_BASE64, {VK_CWMP_NS_SOAP_ENCODING, "base64"}},
    TypeName{VK_TYPE_ARRAY, {VK_CWMP_NS_SOAP_ENCODING, "Array"}},
};

char* text_member(const vk_frame& frame, const char* name) {
  const vk_value* const member = typed_member(*frame.value, name, VK_TYPE_STRING);
  return member == nullptr ? nullptr : member->payload.text;
}

}  // namespace
}  // namespace vesk

const char* vk_cwmp_get_fault_string(uint32_t code) {
  for (const vesk::Fault& fault : vesk::kFaults) {
    if (fault.code == code) return fault.text;
  }
  return "";
}

const char* vk_cwmp_get_fault_source(uint32_t code) {
  const uint32_t distance = code - vesk::kFirstOfClient;
  const bool client = distance < vesk::kCountFromFirst && (vesk::kOfClient >> distance & 1) != 0;
  return client ? "Client" : "Server";
}

uint32_t vk_cwmp_frame_get_rpc_method(const vk_frame* frame) {
  const vk_value* const member =
      vesk::typed_member(*frame->value, "soap-action-id", VK_TYPE_UNSIGNEDINT);
  return member == nullptr ? 0 : member->payload.u32;
}

vk_error vk_cwmp_frame_set_rpc_method(vk_frame* frame, uint32_t method) {
  return vk_object_set_uint(frame->value, "soap-action-id", method);
}

const char* vk_cwmp_frame_get_peer(const vk_frame* frame) {
  const char* const peer = vesk::text_member(*frame, "peer");
  return peer == nullptr ? "<unknown>" : peer;
}

char* vk_cwmp_frame_get_soap_action(const vk_frame* frame) {
  return vesk::text_member(*frame, "soap-action");
}

vk_error vk_cwmp_frame_set_soap_action(vk_frame* frame, const char* first, const char* second) {
  std::array<char, 256> action;
  std::snprintf(action.data(), action.size(), "%s|%s", first, second);
  return vk_object_set_string(frame->value, "soap-action", action.data());
}

uint8_t vk_cwmp_frame_get_hold_requests(const vk_frame* frame) {
  const vk_value* const member = vesk::typed_member(*frame->value, "HoldRequests", VK_TYPE_BOOLEAN);
  return member == nullptr ? uint8_t{0} : member->payload.flag;
}

char* vk_cwmp_frame_get_id(const vk_frame* frame) { return vesk::text_member(*frame, "ID"); }

const cwmp_type* vk_type_to_cwmp_type(vk_type type) {
  for (const vesk::TypeName& row : vesk::kTypeNames) {
    if (row.type == type) return &row.name;
  }
  vk_log(vesk::kLogLibrary, VK_LOG_ERROR, vesk::kSource, __LINE__, __func__, "unknown type %u",
         type);
  return nullptr;
}

vk_type cwmp_type_to_vk_type(const cwmp_type* type) {
  for (const vesk::TypeName& row : vesk::kTypeNames) {
    if (row.name.ns == type->ns && std::strcmp(row.name.name, type->name) == 0) return row.type;
  }
  vk_log(vesk::kLogLibrary, VK_LOG_ERROR, vesk::kSource, __LINE__, __func__, "unknown type '%d|%s'",
         static_cast<int>(type->ns), type->name);
  return VK_TYPE_ANY;
}
