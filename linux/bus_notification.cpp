#include "linux/bus_notification.hpp"

#include "linux/gvariant_codec.hpp"

namespace trovadex::linux_platform {

using foundation::Error;
using foundation::Result;
using foundation::Value;

std::optional<SignalName> signalNameForNotification(std::string_view notificationName) {
  const auto dot = notificationName.rfind('.');
  if (dot == std::string_view::npos) return std::nullopt;
  SignalName name{std::string(notificationName.substr(0, dot)),
                  std::string(notificationName.substr(dot + 1))};
  if (!g_dbus_is_interface_name(name.interfaceName.c_str()) ||
      !g_dbus_is_member_name(name.member.c_str())) {
    return std::nullopt;
  }
  return name;
}

Result<GVariantPtr> encodeNotificationBody(const Value& object, const Value& userInfo) {
  if (!object.isNil() && !object.isString()) {
    return Error{kBusCodingErrorDomain, 3, "A notification's object must be a string or nil"};
  }
  auto dictionary = encodeDictionary(userInfo);
  if (!dictionary) return dictionary.error();
  const std::string objectText = object.isString() ? *object.asString() : std::string();
  auto encodedObject = encodeValue(Value(objectText));
  if (!encodedObject) return encodedObject.error();
  GVariant* children[] = {encodedObject.value().get(), dictionary.value().get()};
  return adoptVariant(g_variant_new_tuple(children, 2));
}

Result<NotificationBody> decodeNotificationBody(GVariant* body) {
  NotificationBody decoded;
  GVariantPtr dictionary;
  if (body != nullptr && g_variant_is_of_type(body, G_VARIANT_TYPE("(sa{sv})"))) {
    GVariantPtr object(g_variant_get_child_value(body, 0));
    gsize length = 0;
    const gchar* text = g_variant_get_string(object.get(), &length);
    if (length > 0) decoded.object = Value(std::string(text, length));
    dictionary.reset(g_variant_get_child_value(body, 1));
  } else if (body != nullptr && g_variant_is_of_type(body, G_VARIANT_TYPE("(a{sv})"))) {
    dictionary.reset(g_variant_get_child_value(body, 0));
  } else {
    const char* type = body != nullptr ? g_variant_get_type_string(body) : "()";
    return Error{kBusCodingErrorDomain, 4,
                 std::string("A notification body must be (sa{sv}) or (a{sv}), not ") + type};
  }
  Value userInfo = decodeVariant(dictionary.get(), decoded.problems, "userInfo");
  if (userInfo.count() > 0) decoded.userInfo = std::move(userInfo);
  return decoded;
}

}  // namespace trovadex::linux_platform
