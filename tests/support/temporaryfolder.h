// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_TEMPORARYFOLDER_H
#define TESTS_TEMPORARYFOLDER_H

#include <QtCore/QString>

/** A fresh folder that goes away with the object, with everything in it. */
class TemporaryFolder
{
public:
    /** @param parent where it is made, or nothing for the system's folder of temporary files */
    explicit TemporaryFolder(const QString &parent = QString());
    ~TemporaryFolder();

    /** The full name of @a name inside the folder. */
    QString filePath(const QString &name) const;
    /** The folder's own full name, without a "/" at its end. */
    QString path() const { return folder; }

private:
    Q_DISABLE_COPY(TemporaryFolder)

    QString folder;
};

#endif
