<?xml version="1.0"?>
<!--
  SPDX-FileCopyrightText: The power daemon authors
  SPDX-License-Identifier: MIT

  Writes an interface description as Markdown, comments included. The comment above an element describes it.
-->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
  <xsl:output method="text"/>
  <xsl:template name="comment">
    <xsl:value-of select="normalize-space(preceding-sibling::node()[self::* or self::comment()][1][self::comment()])"/>
  </xsl:template>
  <xsl:template match="/node/interface">
    <xsl:value-of select="concat('# ', @name, '&#10;&#10;Object `', ../@name, '`.&#10;')"/>
    <xsl:text>Written by `scripts/interface-page` from the interface description.&#10;&#10;</xsl:text>
    <xsl:call-template name="comment"/>
    <xsl:text>&#10;&#10;## Methods&#10;</xsl:text>
    <xsl:apply-templates select="method"/>
    <xsl:text>&#10;## Signals&#10;</xsl:text>
    <xsl:apply-templates select="signal"/>
  </xsl:template>
  <xsl:template match="method|signal">
    <xsl:value-of select="concat('&#10;### ', @name, '&#10;&#10;')"/>
    <xsl:call-template name="comment"/>
    <xsl:text>&#10;&#10;</xsl:text>
    <xsl:for-each select="arg">
      <xsl:value-of select="concat('- ', @direction, substring(' ', 1, count(@direction)), '`', @name, '` (`', @type, '`)')"/>
      <xsl:if test="preceding-sibling::node()[self::* or self::comment()][1][self::comment()]">: <xsl:call-template name="comment"/></xsl:if>
      <xsl:text>&#10;</xsl:text>
    </xsl:for-each>
  </xsl:template>
  <xsl:template match="text()"/>
</xsl:stylesheet>
