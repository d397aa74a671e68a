// The page classes of this part register themselves by name before main, and
// each factory makes a page of its own class.
#include <gtest/gtest.h>

#include "ozgi/cls_mem_mgr.h"
#include "ozgi/cls_ui_res_loader.h"
#include "pages/cls_vesk_option_page.h"
#include "pages/cls_vesk_page.h"
#include "pages/cls_vesk_select_device_page.h"

TEST(AppRegistration, PageClassesAreRegisteredByName) {
    ozgi::cls_ui_res_loader* loader = ozgi::cls_ui_res_loader::ins();
    for (const char* name : {"cls_vesk_select_device_page", "cls_vesk_page", "cls_vesk_option_page"}) {
        ASSERT_TRUE(loader->has_gui_class(name)) << name;
        ozgi::cls_event_handler* item = loader->create_item(name);
        ASSERT_NE(item, nullptr) << name;
        EXPECT_EQ(item->class_name(), name);
        EXPECT_TRUE(item->is_class("cls_vesk_page_base")) << name;
        EXPECT_NE(dynamic_cast<cls_vesk_page_base*>(item), nullptr) << name;
        ozgi::ozgi_delete(item);
    }
    // The base is never a page of its own.
    EXPECT_FALSE(loader->has_gui_class("cls_vesk_page_base"));
}

TEST(AppRegistration, FactoriesMakeTheirOwnClass) {
    ozgi::cls_event_handler* a = cls_vesk_select_device_page::create_cls_vesk_select_device_page();
    ozgi::cls_event_handler* b = cls_vesk_page::create_cls_vesk_page();
    ozgi::cls_event_handler* c = cls_vesk_option_page::create_cls_vesk_option_page();
    EXPECT_NE(dynamic_cast<cls_vesk_select_device_page*>(a), nullptr);
    EXPECT_NE(dynamic_cast<cls_vesk_page*>(b), nullptr);
    EXPECT_NE(dynamic_cast<cls_vesk_option_page*>(c), nullptr);
    ozgi::ozgi_delete(a);
    ozgi::ozgi_delete(b);
    ozgi::ozgi_delete(c);
}
