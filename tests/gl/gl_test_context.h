// Test fixture that gives every GL test its own current context, on a software renderer where
// the machine has no GPU, and tears it down afterwards.
#pragma once

#include <gtest/gtest.h>

#include "gl/gl_context.h"

class GLContextTest : public ::testing::Test {
  protected:
    void SetUp() override {
        GLContext::SetAllowSoftwareRenderer(true);
        ASSERT_TRUE(context.InitContext());
        ASSERT_TRUE(context.ActivateContext());
    }
    void TearDown() override {
        context.DeactivateContext();
        context.DeleteContext();
    }

    GLContext context;
    GLExtensions& ext = context.extensions;
};
