#!/bin/sh
# properties = {properties}
