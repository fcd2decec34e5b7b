// Base of every table row (link records, on-page pairings, report rows): an id, two visibility
// flags and keyed field access for views, sorting and exports; main thread.
#pragma once

#include <QString>
#include <QtGlobal>

namespace orel {

// A plain polymorphic class, not a QObject: a crawl can hold hundreds of thousands of rows.
class OrelDataObject
{
public:
    OrelDataObject() = default;
    virtual ~OrelDataObject();

    OrelDataObject(const OrelDataObject &) = default;
    OrelDataObject &operator=(const OrelDataObject &) = default;

    // The views' search filter; the base matches nothing.
    virtual bool contains(const QString &text) const;
    // Field keys are the column identifiers of the views; the base answers "" for every key.
    virtual QString getFieldByName(const QString &name) const;
    // Numeric value of a column that sorts numerically; the base answers 0.
    virtual float getFieldAsNumberByName(const QString &name) const;
    // Drops lists, buffers and back-pointers before the row is thrown away.
    virtual void releaseAll();

    // Id given by the collection; 0 means none was given yet.
    quint32 getID() const { return m_id; }
    void setID(quint32 id) { m_id = id; }

    bool getVisible() const { return m_visible; }
    void setVisible(bool visible) { m_visible = visible; }
    bool getVisible2() const { return m_visible2; }
    void setVisible2(bool visible) { m_visible2 = visible; }

    // Whether a column identifier sorts numerically (exactly thirteen identifiers do).
    static bool isNumber(const QString &name);

private:
    quint32 m_id = 0;
    bool m_visible = true;
    bool m_visible2 = true;
};

} // namespace orel
