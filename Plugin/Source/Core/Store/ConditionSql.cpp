#include "Core/Store/ConditionSql.h"

#include "Core/Store/StoredValue.h"
#include "Foundation/Assertion.h"

namespace qs {

namespace {

// The database takes some 32,000 values in a statement. What asks for more looks through its list as JSON.
constexpr std::size_t kMostValues = 1000;

const AttributeDescription& attributeOf(const EntityDescription& entity, std::string_view name) {
    const auto index = entity.attributeIndex(name);
    assertThat(index.has_value(), "An entity was asked for an attribute that it does not have");
    return entity.attributes[*index];
}

// Every test of a column is made to answer 0 for NULL, so that its opposite answers 1.
SqlExpression tested(const std::string& column, const char* comparison, SqlValue value) {
    return {"(" + column + comparison + "? AND " + column + " IS NOT NULL)", {std::move(value)}};
}

SqlExpression oneOf(const std::string& column, const Condition& condition, AttributeType type) {
    if (condition.values.empty()) return {"0", {}};
    SqlExpression sql{"(" + column + " IN (", {}};
    if (condition.values.size() > kMostValues) {
        Array list;
        for (const Value& value : condition.values)
            list.push_back(value);
        sql.text += "SELECT value FROM json_each(?)";
        sql.values.emplace_back(jsonFrom(list));
    } else {
        for (const Value& value : condition.values) {
            sql.text += sql.values.empty() ? "?" : ", ?";
            sql.values.push_back(sqlFrom(value, type));
        }
    }
    sql.text += ") AND " + column + " IS NOT NULL)";
    return sql;
}

SqlExpression count(const Condition& condition, const EntityDescription& entity) {
    const auto index = entity.relationshipIndex(condition.property);
    assertThat(index.has_value(), "An entity was asked for a relationship that it does not have");
    const RelationshipDescription& relationship = entity.relationships[*index];
    const std::string many = quotedName(relationship.destination);
    const std::string linked = "SELECT %FROM " + many + " WHERE " + many + "." + quotedName(relationship.inverse) +
                               " = " + quotedName(entity.name) + "._id";
    const std::int64_t wanted = condition.values.front().integerValue();
    const auto with = [&](const char* what) { return std::string(linked).replace(linked.find('%'), 1, what); };
    if (wanted == 0) return {"NOT EXISTS (" + with("1 ") + ")", {}};
    return {"(" + with("count(*) ") + ") = ?", {wanted}};
}

SqlExpression joined(const Condition& condition, const EntityDescription& entity, const char* word) {
    SqlExpression sql{"(", {}};
    for (const Condition& part : condition.parts) {
        SqlExpression more = sqlFor(part, entity);
        if (sql.text.size() > 1) sql.text += word;
        sql.text += more.text;
        sql.values.insert(sql.values.end(), std::make_move_iterator(more.values.begin()),
                          std::make_move_iterator(more.values.end()));
    }
    sql.text += ")";
    return sql;
}

}  // namespace

std::string quotedName(std::string_view name) { return "\"" + std::string(name) + "\""; }

SqlExpression sqlFor(const Condition& condition, const EntityDescription& entity) {
    using Kind = Condition::Kind;
    switch (condition.kind) {
    case Kind::All: return {"1", {}};
    case Kind::And: return joined(condition, entity, " AND ");
    case Kind::Or: return joined(condition, entity, " OR ");
    case Kind::Not: {
        SqlExpression sql = sqlFor(condition.parts.front(), entity);
        sql.text = "NOT " + sql.text;
        return sql;
    }
    case Kind::CountIs: return count(condition, entity);
    case Kind::LinksTo: return tested(quotedName(condition.property), " = ", condition.values.front().integerValue());
    case Kind::IsRow: return {"_id = ?", {condition.values.front().integerValue()}};
    default: break;
    }
    const AttributeDescription& attribute = attributeOf(entity, condition.property);
    const std::string column = quotedName(attribute.name);
    if (condition.kind == Kind::IsOneOf) return oneOf(column, condition, attribute.type);
    SqlValue value = sqlFrom(condition.values.front(), attribute.type);
    if (condition.kind == Kind::Is) return {column + " IS ?", {std::move(value)}};
    return tested(column, condition.kind == Kind::IsBelow ? " < " : " > ", std::move(value));
}

}  // namespace qs
