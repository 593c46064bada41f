#include "RowListJson.h"

#include <boost/json.hpp>

#include "Models/RowList.h"

namespace qs {

namespace json = boost::json;

namespace {

constexpr const char* kKinds[] = {"heading", "item", "note"};

void setUnlessEmpty(json::object& model, const char* name, const std::string& text) {
    if (!text.empty()) model[name] = text;
}

json::array buttonsJson(const std::vector<RowButton>& buttons) {
    json::array array;
    for (const RowButton& button : buttons) {
        json::object model{{"id", button.id}, {"title", button.title}};
        setUnlessEmpty(model, "image", button.imageName);
        setUnlessEmpty(model, "colour", button.colour);
        if (button.isOn) model["on"] = *button.isOn;
        if (button.isDestructive) model["destructive"] = true;
        if (button.isForPointedAt) model["forPointedAt"] = true;
        if (button.menu) model["hasMenu"] = true;
        array.push_back(std::move(model));
    }
    return array;
}

json::value rowJson(const ListRow& row) {
    json::object model{
        {"id", row.id}, {"kind", kKinds[static_cast<int>(row.kind)]}, {"height", row.height}, {"title", row.title}};
    setUnlessEmpty(model, "picture", row.picture);
    setUnlessEmpty(model, "detail", row.detail);
    if (row.textLines > 0) {
        setUnlessEmpty(model, "text", row.text);
        model["textLines"] = row.textLines;
    }
    setUnlessEmpty(model, "date", row.date);
    setUnlessEmpty(model, "dateLong", row.dateLong);
    if (row.isUnread) model["unread"] = true;
    if (row.isImportant) model["important"] = true;
    json::array icons, groups;
    for (const ListIcon& icon : row.icons)
        icons.push_back(json::object{{"image", icon.image}, {"label", icon.label}, {"size", icon.size}});
    for (const auto& group : row.controls)
        groups.push_back(buttonsJson(group));
    model["icons"] = std::move(icons);
    model["marks"] = buttonsJson(row.marks);
    model["controls"] = std::move(groups);
    model["leading"] = buttonsJson(row.leading);
    model["trailing"] = buttonsJson(row.trailing);
    if (row.onOpen) model["opens"] = true;
    return model;
}

}  // namespace

json::value rowListJson(const RowList& list) {
    json::array rows;
    for (const ListRow& row : list.rows)
        rows.push_back(rowJson(row));
    return json::object{{"title", list.title}, {"bar", buttonsJson(list.bar)}, {"rows", std::move(rows)}};
}

}  // namespace qs
