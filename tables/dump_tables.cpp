#include "tables/dump_tables.h"

namespace zorbec {
namespace {

void require_table(const JsonDocument& document, const std::string& source) {
  if (document.is_object()) return;
  throw CheckError(source + ": holds " + std::string(kind_name(document.root().kind())) +
                   ", not a table");
}

}  // namespace

void InterfaceTable::require_object() const {
  require_table(document, source);
}

Integer InterfaceRecord::handle_number() const {
  // Most numbers were stored when the table was read, so the dump's text need not be read.
  if (const std::optional<std::uint64_t> number = table_->document.number(entry_)) return *number;
  const std::optional<Integer> number = Integer::from_decimal(handle());
  if (!number) fail("has a handle that is not a decimal number");
  return *number;
}

void InterfaceRecord::require_object() const {
  const JsonKind kind = value().kind();
  if (kind != JsonKind::kObject) fail("is " + std::string(kind_name(kind)) + ", not a record");
}

std::optional<JsonValue> InterfaceRecord::find(std::string_view field) const {
  require_object();
  return value().member(field);
}

JsonValue InterfaceRecord::field(std::string_view field) const {
  const std::optional<JsonValue> value = find(field);
  if (!value) fail("has no field " + in_quotes(field));
  return *value;
}

void InterfaceRecord::fail(const std::string& what) const {
  throw CheckError(table_->source + ": interface " + in_quotes(handle()) + " " + what);
}

std::optional<std::uint32_t> PmdbTable::find(std::string_view name) const {
  require_object();
  return document_.find(name);
}

std::optional<std::uint32_t> PmdbTable::find(const Integer& key) const {
  require_object();
  // A key beyond 64 bits can still be a name in a malformed dump.
  const std::optional<std::uint64_t> word = key.word();
  return word ? document_.find(*word) : document_.find(key.decimal());
}

void PmdbTable::set_visited(std::uint32_t entry) {
  if (!document_.holds_only_objects()) record(entry);  // throws if this entry is not an object
  visited_[entry] = true;
}

bool PmdbTable::is_visited(std::uint32_t entry) const {
  if (visited_[entry]) return true;
  return record(entry).member("visited").has_value();
}

JsonValue PmdbTable::record(std::uint32_t entry) const {
  const JsonValue value = document_.value(entry);
  if (!value.is_object()) {
    fail(entry, "is " + std::string(kind_name(value.kind())) + ", not a record");
  }
  return value;
}

void PmdbTable::require_object() const {
  require_table(document_, source_);
}

void PmdbTable::fail(std::uint32_t entry, const std::string& what) const {
  throw CheckError(source_ + ": key " + in_quotes(name(entry)) + " " + what);
}

}  // namespace zorbec
