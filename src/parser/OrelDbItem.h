// One row read from a saved link database file by OrelParser::getItem(): an element's text with
// the names of its element, parent and grandparent; used on the reader's thread.
#pragma once

#include <QString>

namespace orel {

class OrelDbItem
{
public:
    void setData(const QString &text) { data = text; }
    const QString &getData() const { return data; }
    void setName(const QString &text) { name = text; }
    const QString &getName() const { return name; }
    void setParentName(const QString &text) { parentName = text; }
    const QString &getParentName() const { return parentName; }
    void setGrandParentName(const QString &text) { grandParentName = text; }
    const QString &getGrandParentName() const { return grandParentName; }
    // Set on the first row read under a newly opened parent element.
    void setNewParent(bool opens) { newParent = opens; }
    bool isNewParent() const { return newParent; }

private:
    QString data;
    QString name;
    QString parentName;
    QString grandParentName;
    bool newParent = false;
};

} // namespace orel
