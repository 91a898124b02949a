#pragma once

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QWidget>

#include <optional>
#include <vector>

#include "item.h"
#include "tools/windows/elided_label.h"
#include "version_card.h"
#include "version_reader.h"

namespace braid::window
{

/// What is selected, looked at closely, with the buttons that decide it.
class DetailPane final : public QWidget
{
    Q_OBJECT

public:
    explicit DetailPane(QWidget* parent = nullptr);

    void setHomes(std::string localHome, std::string networkHome);
    /// `isBusy`: a decision about one of them is under way.
    void show(const std::vector<Item>& items, bool isBusy);

Q_SIGNALS:
    /// `keep` as in EngineClient::decide.
    void decided(const char* keep);
    void asideWanted(bool aside);

private:
    void showOne(const Item& item);
    void showMany();
    void arrangeButtons(bool isBusy);
    void addButton(const QString& text, const std::function<void()>& press, bool isEnabled);
    void readVersions();
    void contentCame(bool isLocal, const VersionContent& content);
    void compare();

    std::string mLocalHome;
    std::string mNetworkHome;
    std::vector<Item> mItems;
    VersionReader mReader;
    std::optional<VersionContent> mContents[2]; ///< Local, network: what has come.

    windows::ElidedLabel* mName;
    windows::ElidedLabel* mFolder;
    QLabel* mSentence;
    QWidget* mCards;
    VersionCard* mLocal;
    VersionCard* mNetwork;
    QWidget* mButtons;
    QHBoxLayout* mButtonRow;
};

} // namespace braid::window
